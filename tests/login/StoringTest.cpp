// SPDX-License-Identifier: MIT
#include <ORXAccount/ORVAAccountConstants.h>
#include <ORXAccount/platform/NotificationCenter.h>

#include <algorithm>
#include <atomic>

#include "platform/keychain/SecItemFunctions.h"
#include "platform/storage/StandardPaths.h"
#include "platform/storage/StoredDirectory.h"
#include "support/SignInFixture.h"
#include "support/ThreadCount.h"

namespace orx {

using namespace platform;
namespace {

using namespace orx::testing;

using StoringASignIn = SignInFixture;

TEST_F(StoringASignIn, HoldsOneThreadForAllThatWaitForTheStore) {
  constexpr std::size_t signIns = 40;
  signIn("first");
  const auto directory =
      StoredDirectory::open(*dataHome() + "/orxaccount", StoredDirectory::Kind::Private,
                            StoredDirectory::Missing::DoNotCreate);
  const auto held = (*directory)->lock("lock", Deadline::max());
  ASSERT_TRUE(held);
  // Longer than all answers take to come, so that they meet in the store.
  setKeychainPatience(std::chrono::milliseconds(100));
  // The server has a thread for each connection; when all requests are there, so are these.
  std::atomic<std::size_t> requests = 0;
  std::atomic<std::size_t> before = 0;
  Event all;
  answerBy([&](const Request&) {
    if (++requests == signIns) {
      before = threadCount();
      all.set();
    }
    EXPECT_TRUE(all.wait());
    return Answer::reply(200, soapAnswer(resultBlock("1", "OK", "Json", R"([{"login":"a"}])")));
  });
  for (std::size_t count = 0; count < signIns; ++count) {
    manager()->loginWithParameters(Dictionary{{"login", "a"}});
  }
  std::size_t most = 0;
  for (std::size_t count = 0; count < signIns; ++count) {
    EXPECT_EQ(report().error, nullptr);
    most = std::max(most, threadCount());
  }
  EXPECT_LT(most, before + signIns / 4);
}

TEST_F(StoringASignIn, IsNotHeldUpByAnObserverOfAnotherThatBlocks) {
  Event second;
  std::atomic<bool> isFirst = true;
  const auto observation =
      NotificationCenter::defaultCenter()->addObserverForName_object_usingBlock(
          ORVAAccountUserDidChangeNotification, nullptr, [&](const Notification&) {
            if (!isFirst.exchange(false)) return;
            EXPECT_TRUE(second.wait());
          });
  answerWithRecord(R"({"login":"a"})");
  manager()->loginWithParameters(Dictionary{{"login", "a"}});
  manager()->loginWithParameters(Dictionary{{"login", "a"}});
  EXPECT_EQ(report().error, nullptr);
  second.set();
  EXPECT_EQ(report().error, nullptr);
}

}  // namespace
}  // namespace orx
