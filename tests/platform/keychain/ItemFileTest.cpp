// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include "platform/keychain/PolicyKeychainStore.h"
#include "platform/keychain/SecItemFunctions.h"
#include "platform/keychain/StoreStatus.h"
#include "support/ChildProcess.h"
#include "support/StorageHome.h"

namespace orx {

using namespace platform;
namespace {

namespace fs = std::filesystem;
using testing::contentOf;
using testing::writeContent;

class ItemFileTest : public ::testing::Test {
 protected:
  static Deadline deadline() { return std::chrono::steady_clock::now() + std::chrono::seconds(20); }
  Result<void> add(std::string_view bytes) { return store.add(item, Data(bytes), deadline()); }
  Result<Data> copy() { return store.copy(item, deadline()); }
  static std::string detail(const Error& error, std::string_view key) {
    return error.userInfo()[key].text().value_or("");
  }

  testing::StorageHome home;
  PolicyKeychainStore store{{}, [] { return KeychainPolicy::FileOnly; }};
  const KeychainItem item{.service = "com.example.service", .account = "someone"};
  const Dictionary query{{"class", "genp"}, {"svce", item.service}, {"acct", item.account}};
  const fs::path directory = home.keychainDirectory();
  const fs::path file = directory / "com.example.service,someone.item";
};

TEST_F(ItemFileTest, KeepsAnItemInAFileForItsOwnerAlone) {
  const auto mask = umask(0);
  ASSERT_TRUE(add("bytes"));
  umask(mask);
  struct stat state {};
  ASSERT_EQ(stat(file.c_str(), &state), 0);
  EXPECT_EQ(state.st_mode & 07777U, 0600U);
  ASSERT_EQ(stat(directory.c_str(), &state), 0);
  EXPECT_EQ(state.st_mode & 07777U, 0700U);
}

TEST_F(ItemFileTest, MakesNothingForReadingAndDeleting) {
  EXPECT_EQ(statusOf(copy()), errSecItemNotFound);
  EXPECT_EQ(statusOf(store.update(item, Data("x"), deadline())), errSecItemNotFound);
  EXPECT_EQ(statusOf(store.remove(item, deadline())), errSecItemNotFound);
  EXPECT_TRUE(fs::is_empty(home.path()));
}

TEST_F(ItemFileTest, NamesLongItemsWithinTheFileSystemsBounds) {
  const KeychainItem longItem{.service = std::string(5000, 's'), .account = "a"};
  EXPECT_LE(ItemFile::nameOf(longItem).size(), 255U);
  EXPECT_EQ(ItemFile::nameOf({.service = "..", .account = "a/b"}), "%2E.,a%2Fb.item");
}

// Items of earlier versions are found by their names.
TEST_F(ItemFileTest, NamesAnItemByItselfAsLongAsThatTakesNoMoreThanTwoHundredBytes) {
  const std::string service(198, 's');
  EXPECT_EQ(ItemFile::nameOf({.service = service, .account = "a"}), service + ",a.item");
  EXPECT_EQ(ItemFile::nameOf({.service = service, .account = "ab"}).size(), 1U + 32U + 5U);
}

TEST_F(ItemFileTest, DeletesEveryTraceOfAnItem) {
  ASSERT_TRUE(add("first secret"));
  ASSERT_TRUE(store.update(item, Data("second secret"), deadline()));
  writeContent(directory / ".orx-tmp-17", "second se");
  ASSERT_TRUE(store.remove(item, deadline()));
  for (const auto& [path, content] : testing::snapshotOf(home.path())) {
    EXPECT_EQ(content.find("sec"), std::string::npos) << path;
  }
}

TEST_F(ItemFileTest, SweepsADeadWritersBytesEvenWhenTheItemIsGone) {
  ASSERT_TRUE(add("x"));
  ASSERT_TRUE(store.remove(item, deadline()));
  // As this version names it, and as an earlier one did.
  const auto temporary = directory / (".orx-tmp-" + ItemFile::nameOf(item));
  writeContent(temporary, "half a secr");
  writeContent(directory / ".orx-tmp-17", "half a secr");
  EXPECT_EQ(statusOf(store.remove(item, deadline())), errSecItemNotFound);
  EXPECT_FALSE(fs::exists(temporary));
  EXPECT_FALSE(fs::exists(directory / ".orx-tmp-17"));
}

TEST_F(ItemFileTest, LeavesTheBytesOfAnotherItemsWriter) {
  const KeychainItem other{.service = item.service, .account = "another"};
  const auto temporary = directory / (".orx-tmp-" + ItemFile::nameOf(other));
  ASSERT_TRUE(add("x"));
  writeContent(temporary, "half a secr");
  ASSERT_TRUE(store.update(item, Data("y"), deadline()));
  ASSERT_TRUE(store.remove(item, deadline()));
  EXPECT_TRUE(fs::exists(temporary));
}

TEST_F(ItemFileTest, NamesADamagedFileAndLeavesItUntilItIsReplaced) {
  ASSERT_TRUE(add("a user's bytes"));
  const auto whole = contentOf(file);
  for (std::size_t length = 0; length < whole.size(); ++length) {
    writeContent(file, whole.substr(0, length));
    const auto read = copy();
    ASSERT_FALSE(read) << length;
    EXPECT_EQ(statusOf(read), errSecDecode) << length;
    EXPECT_EQ(detail(*read.error(), NSFilePathErrorKey), file.string());
    EXPECT_NE(read.error()->localizedDescription().find(file.string()), std::string::npos);
    EXPECT_EQ(contentOf(file), whole.substr(0, length));
  }
  EXPECT_EQ(statusOf(add("x")), errSecDuplicateItem);
  EXPECT_TRUE(store.update(item, Data("new"), deadline()));
  EXPECT_EQ(copy().value().text(), "new");
}

TEST_F(ItemFileTest, KeepsWhatWasDamagedAsideUntilTheItemGoes) {
  ASSERT_TRUE(add("old"));
  for (const auto* damaged : {"damaged", "damaged again"}) {
    writeContent(file, damaged);
    ASSERT_TRUE(store.update(item, Data("new"), deadline()));
  }
  EXPECT_EQ(contentOf(file.string() + ".damaged"), "damaged");
  EXPECT_EQ(contentOf(file.string() + ".damaged-2"), "damaged again");
  // An update keeps no copy of an undamaged item, and a removal touches no other item's files.
  ASSERT_TRUE(store.update(item, Data("newer"), deadline()));
  EXPECT_FALSE(fs::exists(file.string() + ".damaged-3"));
  const KeychainItem other{.service = item.service, .account = "someone.item.damaged-2"};
  ASSERT_TRUE(store.add(other, Data("other"), deadline()));

  ASSERT_TRUE(store.remove(item, deadline()));
  for (const auto& [path, content] : testing::snapshotOf(home.path())) {
    EXPECT_EQ(content.find("damaged again"), std::string::npos) << path;
    const bool isOthers = path.ends_with(".item") || path.ends_with(".lock");
    EXPECT_TRUE(isOthers || !path.starts_with(file.string() + ".damaged")) << path;
  }
  EXPECT_TRUE(store.copy(other, deadline()));
}

TEST_F(ItemFileTest, RemovesWhatIsKeptAsideEvenWhenTheItemIsGone) {
  ASSERT_TRUE(add("x"));
  ASSERT_TRUE(store.remove(item, deadline()));
  writeContent(file.string() + ".damaged", "a secret's remains");
  EXPECT_EQ(statusOf(store.remove(item, deadline())), errSecItemNotFound);
  EXPECT_FALSE(fs::exists(file.string() + ".damaged"));
}

TEST_F(ItemFileTest, DoesNotTakeAnotherItemsFileForItsOwn) {
  ASSERT_TRUE(add("mine"));
  const KeychainItem other{.service = "com.example.service", .account = "other"};
  fs::copy(file, directory / ItemFile::nameOf(other));
  EXPECT_EQ(statusOf(store.copy(other, deadline())), errSecDecode);
}

TEST_F(ItemFileTest, RefusesADirectoryThatIsALink) {
  fs::create_directories(home.path() / "elsewhere");
  fs::create_directories(directory.parent_path());
  fs::create_directory_symlink(home.path() / "elsewhere", directory);
  for (const auto& error :
       {add("x").error(), copy().error(), store.update(item, Data("x"), deadline()).error(),
        store.remove(item, deadline()).error()}) {
    EXPECT_EQ(statusOf(*error), errSecNotAvailable);
    EXPECT_EQ(detail(*error, NSFilePathErrorKey), directory.string());
    EXPECT_NE(error->localizedDescription().find(directory.string()), std::string::npos);
    EXPECT_FALSE(detail(*error, NSLocalizedRecoverySuggestionErrorKey).empty());
  }
  EXPECT_TRUE(fs::is_empty(home.path() / "elsewhere"));
}

TEST_F(ItemFileTest, RefusesADirectoryThatOthersMayWriteTo) {
  ASSERT_TRUE(add("x"));
  fs::permissions(directory, fs::perms(0770));
  const auto read = copy();
  ASSERT_EQ(statusOf(read), errSecNotAvailable);
  EXPECT_NE(detail(*read.error(), NSLocalizedRecoverySuggestionErrorKey).find("chmod 700"),
            std::string::npos);
  fs::permissions(directory, fs::perms(0700));
  EXPECT_TRUE(copy());
}

TEST_F(ItemFileTest, RefusesAnItemThatIsNoFileOfItsOwn) {
  ASSERT_TRUE(add("x"));
  fs::rename(file, home.path() / "moved");
  fs::create_symlink(home.path() / "moved", file);
  for (const auto status :
       {statusOf(add("y")), statusOf(copy()), statusOf(store.update(item, Data("y"), deadline())),
        statusOf(store.remove(item, deadline()))}) {
    EXPECT_EQ(status, errSecNotAvailable);
  }
  EXPECT_TRUE(fs::is_symlink(file));
  fs::remove(file);
  ASSERT_EQ(mkfifo(file.c_str(), 0600), 0);
  EXPECT_EQ(statusOf(copy()), errSecNotAvailable);
  EXPECT_EQ(statusOf(add("y")), errSecNotAvailable);
}

TEST_F(ItemFileTest, KeepsTheOldBytesWhenThereIsNoRoomForTheNew) {
  ASSERT_TRUE(add("old"));
  rlimit before{};
  getrlimit(RLIMIT_FSIZE, &before);
  const rlimit small{.rlim_cur = 500, .rlim_max = before.rlim_max};
  setrlimit(RLIMIT_FSIZE, &small);
  const auto updated = store.update(item, Data(std::string(2000, 'x')), deadline());
  setrlimit(RLIMIT_FSIZE, &before);
  ASSERT_EQ(statusOf(updated), errSecIO);
  EXPECT_FALSE(detail(*updated.error(), NSLocalizedRecoverySuggestionErrorKey).empty());
  EXPECT_EQ(copy().value().text(), "old");
}

// The update waits for the lock until its deadline.
TEST_F(ItemFileTest, SaysWhoHoldsItUpAndStillReadsMeanwhile) {
  ASSERT_TRUE(add("bytes"));
  const auto opened = StoredDirectory::open(directory, StoredDirectory::Kind::Private,
                                            StoredDirectory::Missing::DoNotCreate);
  const auto locked = (*opened)->lock("lock", deadline());
  ASSERT_TRUE(locked);
  EXPECT_EQ(SecItemUpdate(query, {{"v_Data", Data("new")}}), errSecIO);
  const auto status = keychainStatus();
  EXPECT_NE(status.description().find("locked by another process"), std::string::npos);
  EXPECT_EQ(status.path(), (directory / "lock").string());
  EXPECT_FALSE(status.remedy().empty());
  EXPECT_EQ(copy().value().text(), "bytes");
}

TEST_F(ItemFileTest, IsNotHeldUpByAChangeOfAnotherItem) {
  const KeychainItem other{.service = "com.example.other", .account = "someone"};
  ItemFile changing(other);
  ASSERT_TRUE(changing.enter(StoredDirectory::Missing::Create, deadline()));
  EXPECT_TRUE(store.add(item, Data("bytes"), std::chrono::steady_clock::now()));
  EXPECT_EQ(statusOf(store.add(other, Data("bytes"), std::chrono::steady_clock::now())), errSecIO);
}

// It holds one lock for all items, and removes every temporary file when it has it.
TEST_F(ItemFileTest, KeepsOutAnEarlierVersion) {
  ItemFile changing(item);
  ASSERT_TRUE(changing.enter(StoredDirectory::Missing::Create, deadline()));
  const auto opened = StoredDirectory::open(directory, StoredDirectory::Kind::Private,
                                            StoredDirectory::Missing::DoNotCreate);
  EXPECT_FALSE((*opened)->lock("lock", std::chrono::steady_clock::now()));
}

TEST_F(ItemFileTest, ReportsWhyItFailedUntilItWorksAgain) {
  ASSERT_EQ(SecItemAdd([&] {
              auto adding = query;
              adding.set("v_Data", Data("bytes"));
              return adding;
            }()),
            errSecSuccess);
  const auto whole = contentOf(file);
  writeContent(file, "damaged");
  std::optional<Value> result;
  EXPECT_EQ(SecItemCopyMatching(query, result), errSecDecode);
  const auto status = keychainStatus();
  EXPECT_EQ(status.store(), "file");
  EXPECT_EQ(status.lastError(), errSecDecode);
  EXPECT_EQ(status.path(), file.string());
  EXPECT_NE(status.description().find("damaged"), std::string::npos);
  EXPECT_FALSE(status.locked());
  writeContent(file, whole);
  EXPECT_EQ(SecItemCopyMatching(query, result), errSecSuccess);
  EXPECT_EQ(keychainStatus().lastError(), errSecSuccess);
  EXPECT_TRUE(keychainStatus().description().empty());
}

TEST_F(ItemFileTest, IsReachedThroughTheHomeDirectoryWhereTheEnvironmentNamesNoOther) {
  unsetenv("XDG_DATA_HOME");
  setenv("HOME", home.path().c_str(), 1);
  ASSERT_TRUE(add("bytes"));
  EXPECT_TRUE(fs::exists(home.path() / ".local/share/orxaccount"));
}

TEST_F(ItemFileTest, HoldsNothingAndTakesNothingWhereThereIsNoHome) {
  if (geteuid() != 0) GTEST_SKIP() << "only root can become a user that has no home";
  testing::ChildProcess child([&] {
    constexpr uid_t unknown = 54'321;
    unsetenv("XDG_DATA_HOME");
    unsetenv("HOME");
    if (setresuid(unknown, unknown, unknown) != 0) return 1;
    if (statusOf(copy()) != errSecItemNotFound) return 2;
    if (statusOf(store.remove(item, deadline())) != errSecItemNotFound) return 3;
    const auto added = add("bytes");
    if (added) return 4;
    const auto remedy = detail(*added.error(), NSLocalizedRecoverySuggestionErrorKey);
    return remedy.find("XDG_DATA_HOME") != std::string::npos ? 0 : 5;
  });
  EXPECT_EQ(child.wait(), 0);
}

}  // namespace
}  // namespace orx
