#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

#include "platform/queues/DispatchSemaphore.h"

namespace orx::testing {
namespace {

TEST(DispatchSemaphore, LetsAsManyPassAtOnceAsItsCountSays) {
  const auto semaphore = DispatchSemaphore::createWithCount(2);
  std::vector<int> passed;
  for (int i = 0; i < 3; ++i) semaphore->wait_then([&, i] { passed.push_back(i); });
  EXPECT_EQ(passed, (std::vector<int>{0, 1}));
  semaphore->signal();
  EXPECT_EQ(passed, (std::vector<int>{0, 1, 2}));
}

TEST(DispatchSemaphore, LetsWaitersGoOnInTheirOrderInsideTheSignal) {
  const auto semaphore = DispatchSemaphore::createWithCount(0);
  std::vector<int> passed;
  for (int i = 0; i < 3; ++i) semaphore->wait_then([&, i] { passed.push_back(i); });
  EXPECT_TRUE(passed.empty());
  for (int i = 0; i < 3; ++i) {
    semaphore->signal();
    EXPECT_EQ(passed.size(), static_cast<std::size_t>(i) + 1);
  }
  EXPECT_EQ(passed, (std::vector<int>{0, 1, 2}));
}

TEST(DispatchSemaphore, KeepsASignalThatComesFirst) {
  const auto semaphore = DispatchSemaphore::createWithCount(0);
  semaphore->signal();
  bool passed = false;
  semaphore->wait_then([&] { passed = true; });
  EXPECT_TRUE(passed);
}

TEST(DispatchSemaphore, MayBeDroppedByTheWaiterThatASignalRuns) {
  auto semaphore = DispatchSemaphore::createWithCount(0);
  auto* raw = semaphore.get();
  raw->wait_then([held = std::move(semaphore)]() mutable { held.reset(); });
  raw->signal();
}

TEST(DispatchSemaphore, LosesNothingBetweenThreads) {
  const auto semaphore = DispatchSemaphore::createWithCount(0);
  std::atomic<int> passed{0};
  constexpr int each = 1000;
  std::thread waiting([&] {
    for (int i = 0; i < each; ++i) semaphore->wait_then([&] { ++passed; });
  });
  for (int i = 0; i < each; ++i) semaphore->signal();
  waiting.join();
  EXPECT_EQ(passed, each);
}

}  // namespace
}  // namespace orx::testing
