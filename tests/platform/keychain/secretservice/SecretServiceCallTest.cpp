// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <chrono>
#include <thread>
#include <vector>

#include "platform/keychain/secretservice/SecretServiceCall.h"
#include "platform/keychain/secretservice/SecretServiceFailure.h"

namespace orx::testing {
using namespace platform;
namespace {

using Clock = std::chrono::steady_clock;

TEST(SecretServiceCall, IsCancelledOnceOnTheWaitingThreadWhenItsTimeIsOver) {
  SecretServiceCall call(Clock::now() + std::chrono::hours(1));
  std::vector<std::thread::id> cancelledOn;
  call.onAbandon([&] { cancelledOn.push_back(std::this_thread::get_id()); });
  call.extend(Clock::now());
  EXPECT_FALSE(call.wait());
  EXPECT_EQ(cancelledOn, std::vector{std::this_thread::get_id()});
  EXPECT_THROW(call.remaining(), SecretServiceFailure);
}

TEST(SecretServiceCall, IsNotCancelledOnceItHasFinished) {
  SecretServiceCall call(Clock::now() + std::chrono::hours(1));
  bool isCancelled = false;
  call.onAbandon([&] { isCancelled = true; });
  call.finish(Data("found"));
  const auto result = call.wait();
  ASSERT_TRUE(result && *result);
  EXPECT_EQ(**result, Data("found"));
  EXPECT_FALSE(isCancelled);
}

}  // namespace
}  // namespace orx::testing
