#include <ORXAccount/ORVAAccountConstants.h>
#include <ORXAccount/ORVAAccountKeychain.h>
#include <ORXAccount/ORVAAccountUser.h>
#include <ORXAccount/ORVAAccountUserCache.h>
#include <ORXAccount/platform/Bundle.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include <memory>
#include <regex>
#include <thread>

#include "platform/KeychainStatus.h"
#include "platform/KeyedArchiver.h"
#include "platform/SecItemFunctions.h"
#include "platform/UserDefaults.h"
#include "support/ChildProcess.h"
#include "support/StorageHome.h"

namespace orx {
namespace {

namespace fs = std::filesystem;
using testing::contentOf;
using testing::snapshotOf;
using testing::writeContent;

std::shared_ptr<ORVAAccountUser> userNamed(std::string_view login) {
  return ORVAAccountUser::initWithUserInfo(Dictionary{{"login", login}, {"points", 12}});
}

class UserCacheTest : public ::testing::Test {
 protected:
  void signIn(std::string_view login) { cache().setCachedUser(userNamed(login)); }
  void signOut() { cache().setCachedUser(nullptr); }
  std::string restored() {
    const auto user = cache().cachedUser();
    return user ? user->login().value_or("(no login)") : "(nobody)";
  }
  static ORVAAccountUserCache& cache() { return *ORVAAccountUserCache::sharedInstance(); }

  // What the stores hold, read past the cache.
  std::string uuid() {
    const auto reading = defaults.stringForKey(ORVAAccountUserUserDefaultKey);
    return reading.error ? "(error)" : reading.value.value_or("(absent)");
  }
  std::optional<Data> blob() { return keychain->dataForKey(ORVAAccountUserKeychainKey); }
  void putBlob(const Value& root) {
    ASSERT_TRUE(keychain->setData_forKey(KeyedArchiver::archivedDataWithRootObject(root),
                                         ORVAAccountUserKeychainKey));
  }
  void putUUID(std::string_view value) {
    ASSERT_FALSE(defaults.setString_forKey(value, ORVAAccountUserUserDefaultKey));
  }

  testing::StorageHome home;
  UserDefaults& defaults = *UserDefaults::standardUserDefaults();
  std::shared_ptr<ORVAAccountKeychain> keychain = ORVAAccountKeychain::initWithServiceID(
      "com.orva.account.usercache." + std::string(testing::StorageHome::bundleIdentifier));
};

// The five rows of what the two stores can hold.

TEST_F(UserCacheTest, RestoresNobodyAndChangesNothingWhenSignedOut) {
  EXPECT_EQ(restored(), "(nobody)");
  EXPECT_TRUE(fs::is_empty(home.path()));
}

TEST_F(UserCacheTest, RestoresTheStoredRecordAsANewOne) {
  const auto user = userNamed("someone");
  cache().setCachedUser(user);
  const auto before = snapshotOf(home.path());
  const auto again = cache().cachedUser();
  ASSERT_TRUE(again);
  EXPECT_NE(again, user);
  EXPECT_TRUE(again->isEqualToUser(user.get()));
  EXPECT_EQ(snapshotOf(home.path()), before);
}

TEST_F(UserCacheTest, RestoresNobodyButKeepsTheUUIDWhenTheItemIsMissing) {
  signIn("someone");
  const auto first = uuid();
  ASSERT_TRUE(keychain->setData_forKey(std::nullopt, ORVAAccountUserKeychainKey));
  EXPECT_EQ(restored(), "(nobody)");
  EXPECT_EQ(uuid(), first);
  signIn("another");
  EXPECT_EQ(uuid(), first);
  EXPECT_EQ(restored(), "another");
}

TEST_F(UserCacheTest, DeletesTheItemWhenTheDefaultsWereWiped) {
  signIn("someone");
  fs::remove_all(home.path() / "config");
  EXPECT_EQ(restored(), "(nobody)");
  EXPECT_FALSE(blob());
  EXPECT_EQ(SecItemDelete(keychain->queryWithKey(ORVAAccountUserKeychainKey)), errSecItemNotFound);
}

TEST_F(UserCacheTest, DeletesTheItemWhenTheDefaultsHoldOnlyOtherKeys) {
  signIn("someone");
  ASSERT_FALSE(defaults.setString_forKey("kept", "another key"));
  ASSERT_FALSE(defaults.removeObjectForKey(ORVAAccountUserUserDefaultKey));
  EXPECT_EQ(restored(), "(nobody)");
  EXPECT_FALSE(blob());
  EXPECT_EQ(defaults.stringForKey("another key").value, "kept");
}

TEST_F(UserCacheTest, RemovesBothWhenTheItemIsOfAnotherInstallation) {
  signIn("someone");
  putUUID("00000000-0000-4000-8000-000000000000");
  EXPECT_EQ(restored(), "(nobody)");
  EXPECT_EQ(uuid(), "(absent)");
  EXPECT_FALSE(blob());
}

TEST_F(UserCacheTest, ComparesTheUUIDAsText) {
  putUUID("abcdef");
  const auto bytes = KeyedArchiver::archivedDataWithRootObject(userNamed("someone"));
  putBlob(Dictionary{{"uuid", "ABCDEF"}, {"data", bytes}});
  EXPECT_EQ(restored(), "(nobody)");
  EXPECT_FALSE(blob());
}

// Signing in and out.

TEST_F(UserCacheTest, MakesAnInstallationUUIDAtTheFirstSignInAndKeepsItOverLaterOnes) {
  signIn("first");
  const auto first = uuid();
  EXPECT_TRUE(std::regex_match(first, std::regex("[0-9A-F]{8}(-[0-9A-F]{4}){3}-[0-9A-F]{12}")))
      << first;
  for (const auto* login : {"second", "third", "first"}) {
    signIn(login);
    EXPECT_EQ(uuid(), first);
    EXPECT_EQ(restored(), login);
  }
}

TEST_F(UserCacheTest, MakesANewUUIDAfterASignOut) {
  signIn("someone");
  const auto first = uuid();
  signOut();
  EXPECT_EQ(uuid(), "(absent)");
  EXPECT_FALSE(blob());
  EXPECT_EQ(restored(), "(nobody)");
  signIn("someone");
  EXPECT_NE(uuid(), first);
  EXPECT_EQ(restored(), "someone");
}

TEST_F(UserCacheTest, StoresAnArchiveOfTheUUIDAndTheArchivedRecord) {
  signIn("someone");
  const auto root = KeyedUnarchiver::unarchiveObjectWithData(blob().value()).root;
  ASSERT_NE(root.dictionary(), nullptr);
  const auto& entries = *root.dictionary();
  EXPECT_EQ(entries.size(), 2U);
  EXPECT_EQ(entries["uuid"], Value(uuid()));
  ASSERT_NE(entries["data"].data(), nullptr);
  const auto user = KeyedUnarchiver::unarchiveObjectWithData(*entries["data"].data())
                        .root.objectOf<ORVAAccountUser>();
  ASSERT_TRUE(user);
  EXPECT_TRUE(user->isEqualToUser(userNamed("someone").get()));
}

TEST_F(UserCacheTest, TouchesNothingWhenTheSameUserIsStoredAgain) {
  const auto user = userNamed("someone");
  cache().setCachedUser(user);
  struct stat before {};
  struct stat after {};
  ASSERT_EQ(stat(home.onlyItemFile().c_str(), &before), 0);
  cache().setCachedUser(cache().cachedUser());
  ASSERT_EQ(stat(home.onlyItemFile().c_str(), &after), 0);
  EXPECT_EQ(after.st_ino, before.st_ino);
  EXPECT_EQ(after.st_mtim.tv_nsec, before.st_mtim.tv_nsec);
}

TEST_F(UserCacheTest, LeavesNoTraceOfAUserWhoSignedOut) {
  signIn("a name to look for");
  signIn("a name to look for, again");
  signOut();
  for (const auto& [path, content] : snapshotOf(home.path())) {
    EXPECT_EQ(content.find("a name to look for"), std::string::npos) << path;
    EXPECT_EQ(content.find(ORVAAccountUserUserDefaultKey), std::string::npos) << path;
  }
}

// Made by ctest's process for this test alone, so the instance is not made yet.
TEST(UserCacheServiceName, HoldsTheBundleIdentifierOfTheFirstUse) {
  const testing::StorageHome home;
  Bundle::mainBundle()->setBundleIdentifier("org.example.another");
  ORVAAccountUserCache::sharedInstance()->setCachedUser(userNamed("someone"));
  EXPECT_NE(home.onlyItemFile().string().find("usercache.org.example.another"), std::string::npos);
  EXPECT_TRUE(
      ORVAAccountKeychain::initWithServiceID("com.orva.account.usercache.org.example.another")
          ->dataForKey("com.orva.account.ORVAAccountUserKeychainKey"));
}

TEST(UserCacheServiceName, SaysNullWhereThereIsNoBundleIdentifier) {
  const testing::StorageHome home;
  Bundle::mainBundle()->setBundleIdentifier(std::nullopt);
  ORVAAccountUserCache::sharedInstance()->setCachedUser(userNamed("someone"));
  EXPECT_TRUE(ORVAAccountKeychain::initWithServiceID("com.orva.account.usercache.(null)")
                  ->dataForKey("com.orva.account.ORVAAccountUserKeychainKey"));
}

// Defaults that cannot be read.

class UserCacheWithoutDefaults : public UserCacheTest {
 protected:
  UserCacheWithoutDefaults() {
    signIn("someone");
    installation = uuid();
    fs::rename(home.defaultsFile(), home.path() / "kept");
    fs::create_directory(home.defaultsFile());
  }
  void makeReadable() {
    fs::remove(home.defaultsFile());
    fs::rename(home.path() / "kept", home.defaultsFile());
  }

  std::string installation;
};

TEST_F(UserCacheWithoutDefaults, RestoresNobodyDeletesNothingAndSaysWhy) {
  const auto before = snapshotOf(home.path());
  EXPECT_EQ(restored(), "(nobody)");
  EXPECT_EQ(snapshotOf(home.path()), before);
  const auto status = keychainStatusNow();
  EXPECT_EQ(status.lastError, errSecIO);
  EXPECT_EQ(status.path, home.defaultsFile().string());
  EXPECT_FALSE(status.description.empty());
  EXPECT_FALSE(status.remedy.empty());

  makeReadable();
  EXPECT_EQ(restored(), "someone");
  EXPECT_EQ(keychainStatusNow().lastError, errSecSuccess);
}

TEST_F(UserCacheWithoutDefaults, StoresNoSignInAndMakesNoNewUUID) {
  const auto before = snapshotOf(home.path());
  signIn("another");
  EXPECT_EQ(snapshotOf(home.path()), before);
  EXPECT_NE(keychainStatusNow().lastError, errSecSuccess);
  makeReadable();
  EXPECT_EQ(restored(), "someone");
  EXPECT_EQ(uuid(), installation);
}

TEST_F(UserCacheWithoutDefaults, StillSignsOut) {
  signOut();
  EXPECT_FALSE(blob());
  makeReadable();
  EXPECT_EQ(restored(), "(nobody)");
}

// Damage.

TEST_F(UserCacheTest, DeletesNothingForDefaultsDamagedAtAnyLength) {
  signIn("someone");
  const auto whole = contentOf(home.defaultsFile());
  for (std::size_t length = 0; length < whole.size(); ++length) {
    writeContent(home.defaultsFile(), whole.substr(0, length));
    const auto before = snapshotOf(home.path());
    EXPECT_EQ(restored(), "(nobody)") << length;
    EXPECT_EQ(snapshotOf(home.path()), before) << length;
    EXPECT_EQ(keychainStatusNow().lastError, errSecDecode) << length;
    EXPECT_NE(keychainStatusNow().description.find("damaged"), std::string::npos);
  }
  writeContent(home.defaultsFile(), whole);
  EXPECT_EQ(restored(), "someone");
}

TEST_F(UserCacheTest, SetsDamagedDefaultsAsideAtTheNextSignInAndStoresNormally) {
  signIn("someone");
  const auto first = uuid();
  writeContent(home.defaultsFile(), "bplist00 cut");
  signIn("another");
  EXPECT_EQ(restored(), "another");
  EXPECT_NE(uuid(), first);
  EXPECT_EQ(contentOf(home.defaultsFile().string() + ".damaged"), "bplist00 cut");
  EXPECT_EQ(keychainStatusNow().lastError, errSecSuccess);
}

TEST_F(UserCacheTest, DeletesNothingForAnItemDamagedAtAnyLengthAndReplacesItAtTheNextSignIn) {
  signIn("someone");
  const auto file = home.onlyItemFile();
  const auto whole = contentOf(file);
  for (std::size_t length = 0; length < whole.size(); length += 7) {
    writeContent(file, whole.substr(0, length));
    const auto before = snapshotOf(home.path());
    EXPECT_EQ(restored(), "(nobody)") << length;
    EXPECT_EQ(snapshotOf(home.path()), before) << length;
    EXPECT_EQ(keychainStatusNow().path, file.string());
  }
  signIn("another");
  EXPECT_EQ(restored(), "another");
  EXPECT_EQ(keychainStatusNow().lastError, errSecSuccess);
}

TEST_F(UserCacheTest, KeepsABlobThatCannotBeUnarchivedUntilTheNextSignIn) {
  signIn("someone");
  const auto archive = blob().value();
  for (const auto& bytes :
       {Data("no archive"), Data(), Data(archive.text().substr(0, archive.size() / 2)),
        KeyedArchiver::archivedDataWithRootObject("text in place of a dictionary")}) {
    ASSERT_TRUE(keychain->setData_forKey(bytes, ORVAAccountUserKeychainKey));
    EXPECT_EQ(restored(), "(nobody)");
    EXPECT_EQ(blob(), bytes);
    EXPECT_NE(uuid(), "(absent)");
  }
  signIn("another");
  EXPECT_EQ(restored(), "another");
}

TEST_F(UserCacheTest, KeepsABlobWhoseRecordCannotBeUnarchived) {
  putUUID("U");
  for (const Value& data :
       {Value(Data("no archive")), Value("text"), Value(),
        Value(KeyedArchiver::archivedDataWithRootObject("text in place of a record"))}) {
    putBlob(Dictionary{{"uuid", "U"}, {"data", data}});
    EXPECT_EQ(restored(), "(nobody)");
    EXPECT_TRUE(blob());
    EXPECT_EQ(uuid(), "U");
  }
}

TEST_F(UserCacheTest, DeletesEvenADamagedBlobWhenTheDefaultsTrulyHoldNoUUID) {
  ASSERT_TRUE(keychain->setData_forKey(Data("no archive"), ORVAAccountUserKeychainKey));
  EXPECT_EQ(restored(), "(nobody)");
  EXPECT_FALSE(blob());
}

TEST_F(UserCacheTest, RemovesABlobThatNamesNoInstallation) {
  putUUID("U");
  putBlob(Dictionary{{"data", Data("x")}});
  EXPECT_EQ(restored(), "(nobody)");
  EXPECT_FALSE(blob());
  EXPECT_EQ(uuid(), "(absent)");
}

// Writes that fail.

TEST_F(UserCacheTest, KeepsThePreviousUserWhenTheItemCannotBeWritten) {
  signIn("someone");
  rlimit before{};
  getrlimit(RLIMIT_FSIZE, &before);
  const rlimit small{.rlim_cur = 100, .rlim_max = before.rlim_max};
  setrlimit(RLIMIT_FSIZE, &small);
  signIn("another");
  setrlimit(RLIMIT_FSIZE, &before);
  EXPECT_EQ(keychainStatusNow().lastError, errSecIO);
  EXPECT_EQ(restored(), "someone");
}

TEST_F(UserCacheTest, WritesNoItemWhoseUUIDCouldNotBeStored) {
  writeContent(home.path() / "config", "no directory");
  signIn("someone");
  EXPECT_FALSE(blob());
  EXPECT_NE(keychainStatusNow().lastError, errSecSuccess);
}

TEST_F(UserCacheTest, RestoresWhereNothingCanBeWrittenNotEvenALock) {
  signIn("someone");
  fs::remove(home.defaultsFile().parent_path() / ".transaction.lock");
  fs::create_directory(home.defaultsFile().parent_path() / ".transaction.lock");
  EXPECT_EQ(restored(), "someone");
}

// Several processes.

TEST_F(UserCacheTest, IsSharedByTheProcessesOfOneApplication) {
  testing::ChildProcess child([&] {
    signIn("of the child");
    return 0;
  });
  ASSERT_EQ(child.wait(), 0);
  EXPECT_EQ(restored(), "of the child");
  signIn("of the parent");
  testing::ChildProcess reader([&] { return restored() == "of the parent" ? 0 : 1; });
  EXPECT_EQ(reader.wait(), 0);
  testing::ChildProcess leaver([&] {
    signOut();
    return 0;
  });
  EXPECT_EQ(leaver.wait(), 0);
  EXPECT_EQ(restored(), "(nobody)");
}

TEST_F(UserCacheTest, HoldsOneWholeUserAfterManyProcessesSignedInAndOut) {
  for (int round = 0; round < 5; ++round) {
    std::vector<std::unique_ptr<testing::ChildProcess>> children;
    for (int number = 0; number < 4; ++number) {
      children.push_back(std::make_unique<testing::ChildProcess>([&, number] {
        for (int turn = 0; turn < 5; ++turn) {
          if (number == 0 && turn % 2 == 0) signOut();
          signIn(std::to_string(number));
          const auto seen = restored();
          // Somebody else's sign-out may have come between, but never a mix.
          if (seen != "(nobody)" && seen.size() != 1) return 1;
        }
        return 0;
      }));
    }
    for (const auto& child : children) EXPECT_EQ(child->wait(), 0);
    // Everybody's last act was a sign-in.
    EXPECT_EQ(restored().size(), 1U);
  }
}

TEST_F(UserCacheTest, LosesNobodyWhenFirstSignInsMeet) {
  for (int round = 0; round < 10; ++round) {
    signOut();
    testing::ChildProcess first([&] {
      signIn("1");
      return 0;
    });
    testing::ChildProcess second([&] {
      signIn("2");
      return 0;
    });
    while (restored() == "(nobody)") std::this_thread::yield();
    EXPECT_EQ(first.wait(), 0);
    EXPECT_EQ(second.wait(), 0);
    EXPECT_NE(restored(), "(nobody)");
  }
}

TEST_F(UserCacheTest, RemovesNothingWhileAnotherProcessIsInTheMiddleOfASignIn) {
  signIn("someone");
  ASSERT_FALSE(defaults.removeObjectForKey(ORVAAccountUserUserDefaultKey));
  const auto transaction = defaults.beginTransaction(std::chrono::steady_clock::now());
  ASSERT_TRUE(transaction.lock);
  EXPECT_EQ(restored(), "(nobody)");
  EXPECT_TRUE(blob());
  EXPECT_NE(keychainStatusNow().description.find("locked by another process"), std::string::npos);
}

}  // namespace
}  // namespace orx
