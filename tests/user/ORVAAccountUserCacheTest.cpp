// SPDX-License-Identifier: MIT
#include <ORXAccount/platform/Bundle.h>
#include <sys/stat.h>

#include <thread>
#include <vector>

#include "platform/keychain/SecItemFunctions.h"
#include "support/ChildProcess.h"
#include "user/UserCacheTest.h"

namespace orx {

using namespace platform;
namespace {

namespace fs = std::filesystem;
using testing::snapshotOf;
using testing::UserCacheTest;
using testing::userNamed;

// The five states that the two stores can be in.

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
  ASSERT_TRUE(defaults.setString_forKey("kept", "another key"));
  ASSERT_TRUE(defaults.removeObjectForKey(ORVAAccountUserUserDefaultKey));
  EXPECT_EQ(restored(), "(nobody)");
  EXPECT_FALSE(blob());
  EXPECT_EQ(*defaults.stringForKey("another key"), "kept");
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
  const auto bytes = archivedDataWithRootObject(userNamed("someone"));
  putBlob(Dictionary{{"uuid", "ABCDEF"}, {"data", bytes}});
  EXPECT_EQ(restored(), "(nobody)");
  EXPECT_FALSE(blob());
}

// Signing in and out.

TEST_F(UserCacheTest, MakesAnInstallationUUIDAtTheFirstSignInAndKeepsItOverLaterOnes) {
  signIn("first");
  const auto first = uuid();
  EXPECT_EQ(first.size(), 36U) << first;
  EXPECT_EQ(first.find_first_not_of("0123456789ABCDEF-"), std::string::npos) << first;
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
  const auto root = unarchiveObjectWithData(blob().value()).value();
  ASSERT_NE(root.dictionary(), nullptr);
  const auto& entries = *root.dictionary();
  EXPECT_EQ(entries.size(), 2U);
  EXPECT_EQ(entries["uuid"], Value(uuid()));
  ASSERT_NE(entries["data"].data(), nullptr);
  const auto user =
      unarchiveObjectWithData(*entries["data"].data()).value().objectOf<ORVAAccountUser>();
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

TEST_F(UserCacheTest, MakesNothingWhenNobodySignsOut) {
  signOut();
  EXPECT_TRUE(fs::is_empty(home.path()));
  EXPECT_EQ(cache().cachedUser(), nullptr);
}

TEST_F(UserCacheTest, RemovesTheItemAndMakesNoDefaultsWhenTheirFolderIsGone) {
  signIn("someone");
  fs::remove_all(home.defaultsFile().parent_path());
  signOut();
  EXPECT_FALSE(blob());
  EXPECT_FALSE(fs::exists(home.defaultsFile().parent_path()));
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

// ctest runs this test in a process of its own, so the instance does not exist yet.
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
    children.reserve(4);
    for (int number = 0; number < 4; ++number) {
      children.push_back(std::make_unique<testing::ChildProcess>([&, number] {
        for (int turn = 0; turn < 5; ++turn) {
          if (number == 0 && turn % 2 == 0) signOut();
          signIn(std::to_string(number));
          const auto seen = restored();
          // Another process may have signed out or in meanwhile, but the two stores never disagree.
          if (seen != "(nobody)" && seen.size() != 1) return 1;
        }
        return 0;
      }));
    }
    for (const auto& child : children) EXPECT_EQ(child->wait(), 0);
    // The last call of every process was a sign-in.
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

}  // namespace
}  // namespace orx
