// SPDX-License-Identifier: MIT
#include <ORXAccount/CallbackExecutor.h>
#include <ORXAccount/ORVAAccount.h>
#include <ORXAccount/platform/NotificationCenter.h>

#include <vector>

#include "allocations/FailingAllocation.h"
#include "platform/keychain/StoreStatus.h"
#include "user/UserCacheTest.h"

namespace orx {

using namespace platform;
namespace {

using testing::failEachAllocation;
using testing::userNamed;

// Whatever allocation fails, what was asked for is done, or it throws and can be asked for again.
class UserWithoutMemory : public testing::UserCacheTest {
 protected:
  UserWithoutMemory() {
    // What is made on first use fails in a first use's test.
    ORVAAccountUser::setCurrentUser(userNamed("nobody else"));
    ORVAAccountUser::setCurrentUser(nullptr);
  }

  static std::string current() {
    const auto user = ORVAAccountUser::currentUser();
    return user ? user->login().value_or("(no login)") : "(nobody)";
  }
  static void initialise() {
    ORVAAccount::sharedInstance()->initializeWithLaunchOptions_appKey_appID_isStage(
        std::nullopt, "key", "id", false);
  }
};

TEST_F(UserWithoutMemory, IsRestoredOrItThrows) {
  signIn("someone");
  std::shared_ptr<ORVAAccountUser> user;
  failEachAllocation([&] { user.reset(); }, [&] { user = cache().cachedUser(); },
                     [&](bool threw) {
                       EXPECT_NE(user != nullptr, threw);
                       EXPECT_EQ(restored(), "someone");
                     });
}

TEST_F(UserWithoutMemory, IsSignedOutOrItThrowsAndCanBeRepeated) {
  failEachAllocation([&] { ORVAAccountUser::setCurrentUser(userNamed("someone")); },
                     [] { ORVAAccountUser::setCurrentUser(nullptr); },
                     [&](bool threw) {
                       EXPECT_EQ(current(), threw ? "someone" : "(nobody)");
                       ORVAAccountUser::setCurrentUser(nullptr);
                       EXPECT_EQ(current(), "(nobody)");
                       EXPECT_FALSE(blob());
                       EXPECT_EQ(uuid(), "(absent)");
                     });
}

TEST_F(UserWithoutMemory, IsSignedInOrItThrowsAndCanBeRepeated) {
  std::shared_ptr<ORVAAccountUser> user;
  failEachAllocation(
      [&] {
        ORVAAccountUser::setCurrentUser(userNamed("before"));
        user = userNamed("someone");
      },
      [&] { ORVAAccountUser::setCurrentUser(user); },
      [&](bool threw) {
        EXPECT_EQ(current(), threw ? "before" : "someone");
        EXPECT_TRUE(threw || keychainStatus().lastError() == errSecSuccess);
        ORVAAccountUser::setCurrentUser(user);
        EXPECT_EQ(current(), "someone");
        EXPECT_EQ(restored(), "someone");
      });
}

// Whoever made the change has gone on by then, and hears of nothing.
TEST_F(UserWithoutMemory, IsAnnouncedByTheHostsExecutorWhateverIsLackingThere) {
  std::vector<std::function<void()>> blocks;
  setCallbackExecutor([&](std::function<void()> block) { blocks.push_back(std::move(block)); },
                      CallbackScope::Everything);
  int told = 0;
  const Observation observation =
      NotificationCenter::defaultCenter()->addObserverForName_object_usingBlock(
          ORVAAccountUserDidChangeNotification, nullptr, [&](const Notification&) { ++told; });
  failEachAllocation(
      [&] {
        ORVAAccountUser::setCurrentUser(userNamed("someone"));
        ORVAAccountUser::setCurrentUser(nullptr);
        told = 0;
      },
      [&] {
        for (const auto& block : blocks) block();
      },
      [&](bool threw) {
        EXPECT_FALSE(threw);
        EXPECT_EQ(told, 2);
        EXPECT_EQ(current(), "(nobody)");
        blocks.clear();
      });
  setCallbackExecutor({});
}

TEST_F(UserWithoutMemory, IsMadeCurrentAtTheStartOrItThrowsAndCanBeRepeated) {
  failEachAllocation(
      [&] {
        ORVAAccountUser::setCurrentUser(nullptr);
        signIn("someone");
      },
      [] { initialise(); },
      [&](bool threw) {
        EXPECT_TRUE(threw || current() == "someone");
        initialise();
        EXPECT_EQ(current(), "someone");
        EXPECT_EQ(restored(), "someone");
      });
}

}  // namespace
}  // namespace orx
