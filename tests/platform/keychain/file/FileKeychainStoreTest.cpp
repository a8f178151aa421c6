#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include "platform/keychain/KeychainStatus.h"
#include "platform/keychain/SecItemFunctions.h"
#include "platform/keychain/file/FileKeychainStore.h"
#include "support/ChildProcess.h"
#include "support/StorageHome.h"

namespace orx {

using namespace platform;
namespace {

namespace fs = std::filesystem;
using testing::contentOf;
using testing::writeContent;

class FileKeychainStoreTest : public ::testing::Test {
 protected:
  static Deadline deadline() { return std::chrono::steady_clock::now() + std::chrono::seconds(20); }
  KeychainOutcome add(std::string_view bytes) { return store.add(item, Data(bytes), deadline()); }
  KeychainOutcome copy() {
    read.reset();
    return store.copy(item, deadline(), read);
  }

  testing::StorageHome home;
  FileKeychainStore store;
  const KeychainItem item{.service = "com.example.service", .account = "someone"};
  const Dictionary query{{"class", "genp"}, {"svce", item.service}, {"acct", item.account}};
  const fs::path directory = home.keychainDirectory();
  const fs::path file = directory / "com.example.service,someone.item";
  std::optional<Data> read;
};

TEST_F(FileKeychainStoreTest, KeepsAnItemInAFileForItsOwnerAlone) {
  const auto mask = umask(0);
  ASSERT_EQ(add("bytes").status, errSecSuccess);
  umask(mask);
  struct stat state {};
  ASSERT_EQ(stat(file.c_str(), &state), 0);
  EXPECT_EQ(state.st_mode & 07777U, 0600U);
  ASSERT_EQ(stat(directory.c_str(), &state), 0);
  EXPECT_EQ(state.st_mode & 07777U, 0700U);
}

TEST_F(FileKeychainStoreTest, MakesNothingForReadingAndDeleting) {
  EXPECT_EQ(copy().status, errSecItemNotFound);
  EXPECT_EQ(store.update(item, Data("x"), deadline()).status, errSecItemNotFound);
  EXPECT_EQ(store.remove(item, deadline()).status, errSecItemNotFound);
  EXPECT_TRUE(fs::is_empty(home.path()));
}

TEST_F(FileKeychainStoreTest, NamesLongItemsWithinTheFileSystemsBounds) {
  const KeychainItem longItem{.service = std::string(5000, 's'), .account = "a"};
  EXPECT_LE(FileKeychainStore::fileNameOf(longItem).size(), 255U);
  EXPECT_EQ(FileKeychainStore::fileNameOf({.service = "..", .account = "a/b"}), "%2E.,a%2Fb.item");
}

TEST_F(FileKeychainStoreTest, DeletesEveryTraceOfAnItem) {
  ASSERT_EQ(add("first secret").status, errSecSuccess);
  ASSERT_EQ(store.update(item, Data("second secret"), deadline()).status, errSecSuccess);
  writeContent(directory / ".orx-tmp-17", "second se");
  ASSERT_EQ(store.remove(item, deadline()).status, errSecSuccess);
  for (const auto& [path, content] : testing::snapshotOf(home.path())) {
    EXPECT_EQ(content.find("sec"), std::string::npos) << path;
  }
}

TEST_F(FileKeychainStoreTest, SweepsADeadWritersBytesEvenWhenTheItemIsGone) {
  ASSERT_EQ(add("x").status, errSecSuccess);
  ASSERT_EQ(store.remove(item, deadline()).status, errSecSuccess);
  writeContent(directory / ".orx-tmp-17", "half a secr");
  EXPECT_EQ(store.remove(item, deadline()).status, errSecItemNotFound);
  EXPECT_FALSE(fs::exists(directory / ".orx-tmp-17"));
}

TEST_F(FileKeychainStoreTest, NamesADamagedFileAndLeavesItUntilItIsReplaced) {
  ASSERT_EQ(add("a user's bytes").status, errSecSuccess);
  const auto whole = contentOf(file);
  for (std::size_t length = 0; length < whole.size(); ++length) {
    writeContent(file, whole.substr(0, length));
    const auto outcome = copy();
    EXPECT_EQ(outcome.status, errSecDecode) << length;
    EXPECT_EQ(outcome.path, file.string());
    EXPECT_NE(outcome.text.find(file.string()), std::string::npos);
    EXPECT_FALSE(read);
    EXPECT_EQ(contentOf(file), whole.substr(0, length));
  }
  EXPECT_EQ(add("x").status, errSecDuplicateItem);
  EXPECT_EQ(store.update(item, Data("new"), deadline()).status, errSecSuccess);
  EXPECT_EQ(copy().status, errSecSuccess);
  EXPECT_EQ(read->text(), "new");
}

TEST_F(FileKeychainStoreTest, KeepsWhatWasDamagedAsideUntilTheItemGoes) {
  ASSERT_EQ(add("old").status, errSecSuccess);
  for (const auto* damaged : {"damaged", "damaged again"}) {
    writeContent(file, damaged);
    ASSERT_EQ(store.update(item, Data("new"), deadline()).status, errSecSuccess);
  }
  EXPECT_EQ(contentOf(file.string() + ".damaged"), "damaged");
  EXPECT_EQ(contentOf(file.string() + ".damaged-2"), "damaged again");
  // What is whole is not kept, and what belongs to others not removed.
  ASSERT_EQ(store.update(item, Data("newer"), deadline()).status, errSecSuccess);
  EXPECT_FALSE(fs::exists(file.string() + ".damaged-3"));
  const KeychainItem other{.service = item.service, .account = "someone.item.damaged-2"};
  ASSERT_EQ(store.add(other, Data("other"), deadline()).status, errSecSuccess);

  ASSERT_EQ(store.remove(item, deadline()).status, errSecSuccess);
  for (const auto& [path, content] : testing::snapshotOf(home.path())) {
    EXPECT_EQ(content.find("damaged again"), std::string::npos) << path;
    EXPECT_EQ(path.find(file.string() + ".damaged"), path.ends_with(".item") ? 0 : path.npos);
  }
  EXPECT_EQ(store.copy(other, deadline(), read).status, errSecSuccess);
}

TEST_F(FileKeychainStoreTest, RemovesWhatIsKeptAsideEvenWhenTheItemIsGone) {
  ASSERT_EQ(add("x").status, errSecSuccess);
  ASSERT_EQ(store.remove(item, deadline()).status, errSecSuccess);
  writeContent(file.string() + ".damaged", "a secret's remains");
  EXPECT_EQ(store.remove(item, deadline()).status, errSecItemNotFound);
  EXPECT_FALSE(fs::exists(file.string() + ".damaged"));
}

TEST_F(FileKeychainStoreTest, DoesNotTakeAnotherItemsFileForItsOwn) {
  ASSERT_EQ(add("mine").status, errSecSuccess);
  const KeychainItem other{.service = "com.example.service", .account = "other"};
  fs::copy(file, directory / FileKeychainStore::fileNameOf(other));
  EXPECT_EQ(store.copy(other, deadline(), read).status, errSecDecode);
}

TEST_F(FileKeychainStoreTest, RefusesADirectoryThatIsALink) {
  fs::create_directories(home.path() / "elsewhere");
  fs::create_directories(directory.parent_path());
  fs::create_directory_symlink(home.path() / "elsewhere", directory);
  for (const auto& outcome : {add("x"), copy(), store.update(item, Data("x"), deadline()),
                              store.remove(item, deadline())}) {
    EXPECT_EQ(outcome.status, errSecNotAvailable);
    EXPECT_EQ(outcome.path, directory.string());
    EXPECT_NE(outcome.text.find(directory.string()), std::string::npos);
    EXPECT_FALSE(outcome.remedy.empty());
  }
  EXPECT_TRUE(fs::is_empty(home.path() / "elsewhere"));
}

TEST_F(FileKeychainStoreTest, RefusesADirectoryThatOthersMayWriteTo) {
  ASSERT_EQ(add("x").status, errSecSuccess);
  fs::permissions(directory, fs::perms(0770));
  const auto outcome = copy();
  EXPECT_EQ(outcome.status, errSecNotAvailable);
  EXPECT_NE(outcome.remedy.find("chmod 700"), std::string::npos);
  fs::permissions(directory, fs::perms(0700));
  EXPECT_EQ(copy().status, errSecSuccess);
}

TEST_F(FileKeychainStoreTest, RefusesAnItemThatIsNoFileOfItsOwn) {
  ASSERT_EQ(add("x").status, errSecSuccess);
  fs::rename(file, home.path() / "moved");
  fs::create_symlink(home.path() / "moved", file);
  for (const auto& outcome : {add("y"), copy(), store.update(item, Data("y"), deadline()),
                              store.remove(item, deadline())}) {
    EXPECT_EQ(outcome.status, errSecNotAvailable);
  }
  EXPECT_TRUE(fs::is_symlink(file));
  fs::remove(file);
  ASSERT_EQ(mkfifo(file.c_str(), 0600), 0);
  EXPECT_EQ(copy().status, errSecNotAvailable);
  EXPECT_EQ(add("y").status, errSecNotAvailable);
}

TEST_F(FileKeychainStoreTest, KeepsTheOldBytesWhenThereIsNoRoomForTheNew) {
  ASSERT_EQ(add("old").status, errSecSuccess);
  rlimit before{};
  getrlimit(RLIMIT_FSIZE, &before);
  const rlimit small{.rlim_cur = 500, .rlim_max = before.rlim_max};
  setrlimit(RLIMIT_FSIZE, &small);
  const auto outcome = store.update(item, Data(std::string(2000, 'x')), deadline());
  setrlimit(RLIMIT_FSIZE, &before);
  EXPECT_EQ(outcome.status, errSecIO);
  EXPECT_FALSE(outcome.remedy.empty());
  EXPECT_EQ(copy().status, errSecSuccess);
  EXPECT_EQ(read->text(), "old");
}

// Long enough to see that calls wait, and that they do not wait for good.
TEST_F(FileKeychainStoreTest, SaysWhoHoldsItUpAndStillReadsMeanwhile) {
  ASSERT_EQ(add("bytes").status, errSecSuccess);
  const auto locked = StoredDirectory::open(directory, StoredDirectory::Kind::Private,
                                            StoredDirectory::Missing::Leave)
                          .directory->lock("lock", deadline());
  ASSERT_TRUE(locked.lock);
  EXPECT_EQ(SecItemUpdate(query, {{"v_Data", Data("new")}}), errSecIO);
  const auto status = keychainStatus();
  EXPECT_NE(status.description.find("locked by another process"), std::string::npos);
  EXPECT_EQ(status.path, (directory / "lock").string());
  EXPECT_FALSE(status.remedy.empty());
  EXPECT_EQ(copy().status, errSecSuccess);
  EXPECT_EQ(read->text(), "bytes");
}

TEST_F(FileKeychainStoreTest, ReportsWhyItFailedUntilItWorksAgain) {
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
  EXPECT_EQ(status.store, "file");
  EXPECT_EQ(status.lastError, errSecDecode);
  EXPECT_EQ(status.path, file.string());
  EXPECT_NE(status.description.find("damaged"), std::string::npos);
  EXPECT_FALSE(status.locked);
  writeContent(file, whole);
  EXPECT_EQ(SecItemCopyMatching(query, result), errSecSuccess);
  EXPECT_EQ(keychainStatus().lastError, errSecSuccess);
  EXPECT_TRUE(keychainStatus().description.empty());
}

TEST_F(FileKeychainStoreTest, IsReachedThroughTheHomeDirectoryWhereTheEnvironmentNamesNoOther) {
  unsetenv("XDG_DATA_HOME");
  setenv("HOME", home.path().c_str(), 1);
  ASSERT_EQ(add("bytes").status, errSecSuccess);
  EXPECT_TRUE(fs::exists(home.path() / ".local/share/orxaccount"));
}

}  // namespace
}  // namespace orx
