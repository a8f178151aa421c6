// SPDX-License-Identifier: MIT
// Each allocation of a call fails once: then the call has done nothing.
#include <gtest/gtest.h>

#include <functional>
#include <memory>

#include "allocations/FailingAllocation.h"
#include "platform/queues/DispatchSemaphore.h"
#include "platform/queues/OperationQueue.h"
#include "support/Await.h"
#include "support/ChildProcess.h"

namespace orx::testing {
namespace {

// Adds an operation with this allocation failing, then one more; true when the second ran, and the
// first before it unless adding it threw.
bool addsAllOrNothing(const std::shared_ptr<OperationQueue>& queue, std::size_t number,
                      bool& hasFailed) {
  Mailbox<int> ran;
  const auto added =
      withFailingAllocation(number, [&] { queue->addOperationWithBlock([&ran] { ran.put(1); }); });
  hasFailed = added.hasFailed;
  queue->addOperationWithBlock([&ran] { ran.put(2); });
  return (added.threw || ran.take() == 1) && ran.take() == 2 && ran.count() == 0;
}

TEST(MemoryShortage, AddsAnOperationOrLeavesTheQueueAsItWas) {
  const auto queue = std::make_shared<OperationQueue>();
  bool hasFailed = true;
  for (std::size_t number = 0; hasFailed; ++number) {
    EXPECT_TRUE(addsAllOrNothing(queue, number, hasFailed)) << number;
  }
}

// The thread sanitizer lets no child of a process with threads start a thread.
#if !defined(__SANITIZE_THREAD__)

// The same on the first use in a process, in a child for each number.
void expectOfFirstUses(const std::shared_ptr<OperationQueue>& queue,
                       const std::function<bool()>& isFineAfterwards) {
  constexpr int fine = 10;
  constexpr int over = 11;
  int status = fine;
  for (std::size_t number = 0; status == fine; ++number) {
    ChildProcess child([&] {
      bool hasFailed = true;
      if (!addsAllOrNothing(queue, number, hasFailed) || !isFineAfterwards()) return 1;
      return hasFailed ? fine : over;
    });
    status = child.wait();
  }
  EXPECT_EQ(status, over);
}

TEST(MemoryShortage, AddsTheFirstOperationOfAProcessOrLeavesTheQueueAsItWas) {
  expectOfFirstUses(std::make_shared<OperationQueue>(), [] { return true; });
}

// What the parent had added is neither run nor forgotten when the child's first use fails. Adding
// it starts a thread, and a child that is forked beside one may find the address sanitizer's
// allocator locked.
#if !defined(__SANITIZE_ADDRESS__)
TEST(MemoryShortage, LeavesTheParentsOperationsToTheParent) {
  const auto queue = std::make_shared<OperationQueue>();
  int ran = 0;
  queue->setSuspended(true);
  queue->addOperationWithBlock([&ran] { ++ran; });
  expectOfFirstUses(queue, [&] { return ran == 0; });
  Event over;
  queue->addOperationWithBlock([&] { over.set(); });
  queue->setSuspended(false);
  EXPECT_TRUE(over.wait());
  EXPECT_EQ(ran, 1);
}
#endif

#endif

TEST(MemoryShortage, AWaitThatThrowsSuspendsNothing) {
  const auto semaphore = std::make_shared<DispatchSemaphore>(0);
  const auto queue = std::make_shared<OperationQueue>();
  for (std::size_t number = 0;; ++number) {
    const auto waited = withFailingAllocation(number, [&] { semaphore->wait(queue); });
    if (!waited.threw) semaphore->signal();
    Event ran;
    queue->addOperationWithBlock([&ran] { ran.set(); });
    EXPECT_TRUE(ran.wait()) << number;
    if (!waited.hasFailed) break;
  }
}

}  // namespace
}  // namespace orx::testing
