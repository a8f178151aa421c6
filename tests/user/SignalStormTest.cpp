// SPDX-License-Identifier: MIT
// Sets and restores the stored user on a thread that gets signals faster than its system calls end.

#include <gtest/gtest.h>

#include <thread>

#include "platform/keychain/StoreStatus.h"
#include "support/Await.h"
#include "support/ChildProcess.h"
#include "support/SignalStorm.h"
#include "support/SlowFiles.h"
#include "user/UserCacheTest.h"

namespace orx {

using namespace platform;
namespace {

using std::chrono::milliseconds;
using testing::userNamed;

class UserInASignalStorm : public testing::UserCacheTest {
 protected:
  static void inAStorm(const std::function<void()>& work) {
    testing::withSlowFiles(milliseconds(1), [&] {
      const testing::SignalStorm storm;
      work();
    });
    EXPECT_GT(testing::SignalStorm::caught(), 0);
  }
  void expectStored(const std::string& login) {
    EXPECT_EQ(restored(), login);
    EXPECT_EQ(keychainStatus().lastError(), errSecSuccess) << keychainStatus().description();
  }
};

TEST_F(UserInASignalStorm, IsStoredRestoredAndSignedOut) {
  inAStorm([&] {
    for (const auto* login : {"one", "two", "three"}) {
      ORVAAccountUser::setCurrentUser(userNamed(login));
      expectStored(login);
    }
    ORVAAccountUser::setCurrentUser(nullptr);
    expectStored("(nobody)");
  });
  EXPECT_FALSE(blob());
}

TEST_F(UserInASignalStorm, IsStoredOnceAnotherProcessHasLetGoOfTheStore) {
  signIn("someone");
  testing::ChildProcess holder([&] {
    const auto transaction =
        defaults.lockTransaction(std::chrono::steady_clock::now() + testing::patience);
    testing::writeContent(home.path() / "held", "");
    std::this_thread::sleep_for(milliseconds(300));
    return transaction && *transaction ? 0 : 1;
  });
  ASSERT_TRUE(testing::eventually([&] { return std::filesystem::exists(home.path() / "held"); }));
  inAStorm([&] {
    ORVAAccountUser::setCurrentUser(userNamed("another"));
    expectStored("another");
  });
  EXPECT_EQ(holder.wait(), 0);
}

}  // namespace
}  // namespace orx
