// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>
#include <unistd.h>

#include <atomic>
#include <cstdlib>
#include <functional>
#include <memory>
#include <thread>
#include <vector>

#include "platform/queues/OperationQueue.h"
#include "support/Await.h"
#include "support/ChildProcess.h"
#include "support/ThreadCount.h"

namespace orx::testing {
namespace {

TEST(OperationQueue, RunsOperationsOffTheCallersThreadInTheirOrder) {
  const auto queue = std::make_shared<OperationQueue>();
  Mailbox<int> order;
  std::atomic<bool> sameThread{false};
  const auto caller = std::this_thread::get_id();
  for (int i = 0; i < 100; ++i) {
    queue->addOperationWithBlock([&, i] {
      if (std::this_thread::get_id() == caller) sameThread = true;
      order.put(i);
    });
  }
  for (int i = 0; i < 100; ++i) EXPECT_EQ(order.take(), i);
  EXPECT_FALSE(sameThread);
}

TEST(OperationQueue, EndsAnOperationWithAllThatItHoldsBeforeTheNextBegins) {
  const auto queue = std::make_shared<OperationQueue>();
  auto held = std::make_shared<int>();
  const std::weak_ptr<int> watched = held;
  Mailbox<bool> isGone;
  Event gate;
  queue->addOperationWithBlock([&gate, held = std::move(held)] { (void)gate.wait(); });
  queue->addOperationWithBlock([&] { isGone.put(watched.expired()); });
  gate.set();
  EXPECT_TRUE(isGone.take());
}

TEST(OperationQueue, RunsOneOperationAtATime) {
  const auto queue = std::make_shared<OperationQueue>();
  std::atomic<int> inside{0};
  std::atomic<bool> hadCompany{false};
  Mailbox<int> done;
  for (int i = 0; i < 50; ++i) {
    queue->addOperationWithBlock([&] {
      if (++inside > 1) hadCompany = true;
      std::this_thread::yield();
      --inside;
      done.put(1);
    });
  }
  for (int i = 0; i < 50; ++i) done.take();
  EXPECT_FALSE(hadCompany);
}

TEST(OperationQueue, DoesNotHoldUpAnotherOne) {
  const auto busy = std::make_shared<OperationQueue>();
  Event gate;
  Event left;
  busy->addOperationWithBlock([&] {
    (void)gate.wait();
    left.set();
  });
  Event other;
  std::make_shared<OperationQueue>()->addOperationWithBlock([&] { other.set(); });
  EXPECT_TRUE(other.wait());
  EXPECT_FALSE(left.isSet());
  gate.set();
  EXPECT_TRUE(left.wait());
}

TEST(OperationQueue, StartsNothingWhileItIsSuspended) {
  const auto queue = std::make_shared<OperationQueue>();
  Event suspended;
  Mailbox<int> ran;
  queue->addOperationWithBlock([&] {
    queue->setSuspended(true);
    suspended.set();
  });
  for (int i = 0; i < 3; ++i) queue->addOperationWithBlock([&, i] { ran.put(i); });
  ASSERT_TRUE(suspended.wait());
  // Wait for another queue's operation: a worker is free, so a suspended operation would have
  // started by then.
  Event other;
  std::make_shared<OperationQueue>()->addOperationWithBlock([&] { other.set(); });
  ASSERT_TRUE(other.wait());
  EXPECT_EQ(ran.count(), 0U);
  queue->setSuspended(false);
  for (int i = 0; i < 3; ++i) EXPECT_EQ(ran.take(), i);
}

TEST(OperationQueue, StaysSerialWhenItIsResumedBeforeTheOperationReturns) {
  const auto queue = std::make_shared<OperationQueue>();
  Event entered;
  Event gate;
  Mailbox<int> order;
  queue->addOperationWithBlock([&] {
    queue->setSuspended(true);
    entered.set();
    (void)gate.wait();
    order.put(1);
  });
  queue->addOperationWithBlock([&] { order.put(2); });
  ASSERT_TRUE(entered.wait());
  queue->setSuspended(false);
  queue->setSuspended(false);
  EXPECT_EQ(order.count(), 0U);
  gate.set();
  EXPECT_EQ(order.take(), 1);
  EXPECT_EQ(order.take(), 2);
}

TEST(OperationQueue, HoldsNoThreadWhileItIsSuspended) {
  const auto before = threadCount();
  Mailbox<int> suspended;
  Mailbox<int> ran;
  std::vector<std::shared_ptr<OperationQueue>> queues;
  for (int i = 0; i < 200; ++i) {
    queues.push_back(std::make_shared<OperationQueue>());
    queues.back()->addOperationWithBlock([&, queue = queues.back()] {
      queue->setSuspended(true);
      suspended.put(1);
    });
    queues.back()->addOperationWithBlock([&] { ran.put(1); });
  }
  for (int i = 0; i < 200; ++i) suspended.take();
  EXPECT_LT(threadCount(), before + 20);
  for (const auto& queue : queues) queue->setSuspended(false);
  for (int i = 0; i < 200; ++i) ran.take();
}

TEST(OperationQueue, RunsWhatWasAddedAfterItsHandleIsGone) {
  auto queue = std::make_shared<OperationQueue>();
  Event gate;
  Mailbox<int> ran;
  queue->addOperationWithBlock([&] { (void)gate.wait(); });
  queue->addOperationWithBlock([&] { ran.put(1); });
  queue.reset();
  gate.set();
  EXPECT_EQ(ran.take(), 1);
}

constexpr int fine = 7;

// What a process does at its end, when the pool has stopped; its result is the exit status.
const std::function<int()>* lastWork = nullptr;

// Registered before main, and so run after the pool's own handler.
[[maybe_unused]] const int registered = std::atexit([] {
  if (lastWork != nullptr) _exit((*lastWork)());
});

TEST(OperationQueue, StartsNothingOnceTheProcessEnds) {
  ChildProcess child([]() -> int {
    const auto queue = std::make_shared<OperationQueue>();
    Event ran;
    queue->addOperationWithBlock([&] { ran.set(); });
    if (!ran.wait()) return 3;
    const std::function<int()> work = [&] {
      queue->addOperationWithBlock([] { _exit(1); });
      return eventually(othersSleep) ? fine : 2;
    };
    lastWork = &work;
    exit(4);
  });
  EXPECT_EQ(child.wait(), fine);
}

TEST(OperationQueue, StartsNothingAfterAnOperationThatOutlastsTheEndOfTheProcess) {
  ChildProcess child([]() -> int {
    const auto queue = std::make_shared<OperationQueue>();
    Event entered;
    Event gate;
    Event left;
    queue->addOperationWithBlock([&] {
      entered.set();
      (void)gate.wait();
      left.set();
    });
    queue->addOperationWithBlock([] { _exit(1); });
    if (!entered.wait()) return 3;
    const std::function<int()> work = [&] {
      gate.set();
      return left.wait() && eventually(othersSleep) ? fine : 2;
    };
    lastWork = &work;
    exit(4);
  });
  EXPECT_EQ(child.wait(), fine);
}

TEST(OperationQueue, MayBeDroppedOnItsOwnThread) {
  auto queue = std::make_shared<OperationQueue>();
  Mailbox<int> ran;
  auto* raw = queue.get();
  raw->addOperationWithBlock([&ran, held = std::move(queue)]() mutable {
    held.reset();
    ran.put(1);
  });
  EXPECT_EQ(ran.take(), 1);
}

}  // namespace
}  // namespace orx::testing
