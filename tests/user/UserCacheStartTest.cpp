// SPDX-License-Identifier: MIT
#include <ORXAccount/ORVAAccount.h>

#include "platform/keychain/StoreStatus.h"
#include "support/ChildProcess.h"
#include "user/UserCacheTest.h"

namespace orx {

using namespace platform;
namespace {

using testing::ChildProcess;
using testing::snapshotOf;
using testing::userNamed;

// A start-up restores the user and then sets it. Here another process signs in or out between the
// two steps.
class UserCacheStartTest : public testing::UserCacheTest {
 protected:
  std::shared_ptr<ORVAAccountUser> userToRestore() {
    return cache().userToRestore().value_or(nullptr);
  }

  void inAnotherProcess(const std::function<void()>& work) {
    ChildProcess child([&] { work(); });
    ASSERT_EQ(child.wait(), 0);
  }
};

TEST_F(UserCacheStartTest, DoesNotUndoASignOutOfAnotherProcess) {
  signIn("someone");
  const auto user = userToRestore();
  inAnotherProcess([&] { signOut(); });
  const auto after = snapshotOf(home.path());
  ORVAAccountUser::setCurrentUser(user);
  EXPECT_EQ(ORVAAccountUser::currentUser(), user);
  EXPECT_EQ(snapshotOf(home.path()), after);
  EXPECT_EQ(restored(), "(nobody)");
}

TEST_F(UserCacheStartTest, DoesNotUndoASignInOfAnotherProcess) {
  signIn("someone");
  const auto user = userToRestore();
  inAnotherProcess([&] { signIn("another"); });
  ORVAAccountUser::setCurrentUser(user);
  EXPECT_EQ(restored(), "another");
}

TEST_F(UserCacheStartTest, DoesNotUndoASignOutFollowedByASignIn) {
  signIn("someone");
  const auto user = userToRestore();
  inAnotherProcess([&] {
    signOut();
    signIn("another");
  });
  const auto installation = uuid();
  ORVAAccountUser::setCurrentUser(user);
  EXPECT_EQ(restored(), "another");
  EXPECT_EQ(uuid(), installation);
}

// Of a host that reads and stores by itself nothing is guessed.
TEST_F(UserCacheStartTest, StoresAUserWhomTheHostHasRead) {
  signIn("someone");
  const auto user = cache().cachedUser();
  inAnotherProcess([&] { signOut(); });
  cache().setCachedUser(user);
  EXPECT_EQ(restored(), "someone");
}

TEST_F(UserCacheStartTest, WritesBackAFreshBlobOfWhatIsStillStored) {
  putUUID("U");
  const auto bytes = archivedDataWithRootObject(userNamed("someone"));
  putBlob(Dictionary{{"data", bytes}, {"uuid", "U"}, {"more", "of another version"}});
  ORVAAccountUser::setCurrentUser(userToRestore());
  const auto root = unarchiveObjectWithData(blob().value()).value();
  EXPECT_EQ(root.dictionary()->size(), 2U);
  EXPECT_EQ((*root.dictionary())["uuid"], Value("U"));
  EXPECT_EQ(restored(), "someone");
}

TEST_F(UserCacheStartTest, StoresARestoredUserAgainAfterAnother) {
  signIn("someone");
  const auto user = userToRestore();
  ORVAAccountUser::setCurrentUser(user);
  ORVAAccountUser::setCurrentUser(userNamed("another"));
  ORVAAccountUser::setCurrentUser(user);
  EXPECT_EQ(restored(), "someone");
  ORVAAccountUser::setCurrentUser(nullptr);
  ORVAAccountUser::setCurrentUser(user);
  EXPECT_EQ(restored(), "someone");
}

// Another process holds the lock of a sign-in and does not release it.

class UserCacheHeldUp : public testing::UserCacheTest {
 protected:
  UserCacheHeldUp() { signIn("someone"); }
  // The library waits up to 2 seconds for this lock, and a test cannot shorten that.
  Result<std::optional<FileLock>> held() {
    return defaults.lockTransaction(std::chrono::steady_clock::now() + std::chrono::seconds(20));
  }
};

TEST_F(UserCacheHeldUp, StoresNoSignInAndSaysWho) {
  const auto before = snapshotOf(home.path());
  const auto transaction = held();
  ASSERT_TRUE(transaction && *transaction);
  signIn("another");
  EXPECT_EQ(snapshotOf(home.path()), before);
  const auto status = keychainStatus();
  EXPECT_NE(status.lastError(), errSecSuccess);
  EXPECT_NE(status.description().find("locked by another process"), std::string::npos);
  EXPECT_NE(status.remedy().find(".transaction.lock"), std::string::npos);
}

TEST_F(UserCacheHeldUp, SignsOutAllTheSame) {
  const auto transaction = held();
  ASSERT_TRUE(transaction && *transaction);
  signOut();
  EXPECT_FALSE(blob());
  EXPECT_EQ(uuid(), "(absent)");
  EXPECT_EQ(restored(), "(nobody)");
}

}  // namespace
}  // namespace orx
