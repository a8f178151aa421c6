#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

#include "platform/queues/OperationQueue.h"
#include "platform/queues/WorkerPool.h"
#include "support/Await.h"

namespace orx::testing {

using namespace platform;
namespace {

TEST(OperationQueue, RunsOperationsOffTheCallersThreadInTheirOrder) {
  const auto queue = OperationQueue::queueWithMaxConcurrentOperationCount(1);
  EXPECT_EQ(queue->maxConcurrentOperationCount(), 1U);
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
  const auto queue = OperationQueue::queueWithMaxConcurrentOperationCount(1);
  auto held = std::make_shared<int>();
  const std::weak_ptr<int> watched = held;
  Mailbox<bool> isGone;
  Event gate;
  queue->addOperationWithBlock([&gate, held = std::move(held)] { (void)gate.wait(); });
  queue->addOperationWithBlock([&] { isGone.put(watched.expired()); });
  gate.set();
  EXPECT_TRUE(isGone.take());
}

TEST(OperationQueue, NeverRunsMoreOperationsAtATimeThanItMay) {
  for (const std::size_t width : {1U, 3U}) {
    const auto queue = OperationQueue::queueWithMaxConcurrentOperationCount(width);
    std::atomic<std::size_t> inside{0};
    std::atomic<std::size_t> most{0};
    Mailbox<int> done;
    for (int i = 0; i < 50; ++i) {
      queue->addOperationWithBlock([&] {
        const std::size_t present = ++inside;
        for (auto seen = most.load(); seen < present && !most.compare_exchange_weak(seen, present);)
          ;
        std::this_thread::yield();
        --inside;
        done.put(1);
      });
    }
    for (int i = 0; i < 50; ++i) done.take();
    EXPECT_LE(most, width);
  }
}

TEST(OperationQueue, HasNoLimitWhenNoneIsSet) {
  const auto queue = OperationQueue::queueWithMaxConcurrentOperationCount(0);
  constexpr int count = 40;
  Mailbox<int> entered;
  Event gate;
  Mailbox<int> left;
  for (int i = 0; i < count; ++i) {
    queue->addOperationWithBlock([&] {
      entered.put(1);
      (void)gate.wait();
      left.put(1);
    });
  }
  for (int i = 0; i < count; ++i) entered.take();
  gate.set();
  for (int i = 0; i < count; ++i) left.take();
}

TEST(OperationQueue, KeepsThePlaceOfAnOperationThatIsYetToFinish) {
  const auto queue = OperationQueue::queueWithMaxConcurrentOperationCount(1);
  Mailbox<OperationQueue::Finish> pending;
  Mailbox<int> second;
  queue->addOperationWithFinishingBlock([&](auto finish) { pending.put(std::move(finish)); });
  queue->addOperationWithBlock([&] { second.put(2); });
  auto finish = pending.take();
  // Another queue's operation comes and goes, so workers are free.
  Event other;
  OperationQueue::queueWithMaxConcurrentOperationCount(1)->addOperationWithBlock(
      [&] { other.set(); });
  ASSERT_TRUE(other.wait());
  EXPECT_EQ(second.count(), 0U);
  finish();
  EXPECT_EQ(second.take(), 2);
}

TEST(OperationQueue, CountsAFinishOnce) {
  const auto queue = OperationQueue::queueWithMaxConcurrentOperationCount(1);
  Mailbox<OperationQueue::Finish> pending;
  for (int i = 0; i < 3; ++i) {
    queue->addOperationWithFinishingBlock([&](auto finish) { pending.put(std::move(finish)); });
  }
  auto first = pending.take();
  first();
  first();
  auto next = pending.take();
  // Another queue's operation comes and goes, so one that had got a place would be here by now.
  Event other;
  OperationQueue::queueWithMaxConcurrentOperationCount(1)->addOperationWithBlock(
      [&] { other.set(); });
  ASSERT_TRUE(other.wait());
  EXPECT_EQ(pending.count(), 0U) << "the second call must not free another place";
  next();
  pending.take()();
}

TEST(OperationQueue, HoldsNoWorkerForOperationsThatAreYetToFinish) {
  const auto before = WorkerPool::shared().workerCount();
  Mailbox<OperationQueue::Finish> pending;
  std::vector<std::shared_ptr<OperationQueue>> queues;
  queues.reserve(200);
  for (int i = 0; i < 200; ++i) {
    queues.push_back(OperationQueue::queueWithMaxConcurrentOperationCount(1));
    queues.back()->addOperationWithFinishingBlock(
        [&](auto finish) { pending.put(std::move(finish)); });
  }
  std::vector<OperationQueue::Finish> all;
  all.reserve(200);
  for (int i = 0; i < 200; ++i) all.push_back(pending.take());
  EXPECT_LT(WorkerPool::shared().workerCount(), before + 20);
  for (const auto& finish : all) finish();
}

TEST(OperationQueue, RunsWhatWasAddedAfterItsHandleIsGone) {
  auto queue = OperationQueue::queueWithMaxConcurrentOperationCount(1);
  Event gate;
  Mailbox<int> ran;
  queue->addOperationWithBlock([&] { (void)gate.wait(); });
  queue->addOperationWithBlock([&] { ran.put(1); });
  queue.reset();
  gate.set();
  EXPECT_EQ(ran.take(), 1);
}

TEST(OperationQueue, MayBeDroppedOnItsOwnThread) {
  auto queue = OperationQueue::queueWithMaxConcurrentOperationCount(1);
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
