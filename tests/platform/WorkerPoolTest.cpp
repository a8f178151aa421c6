#include <gtest/gtest.h>

#include <functional>
#include <thread>

#include "platform/WorkerPool.h"
#include "support/Await.h"

namespace orx::testing {
namespace {

TEST(WorkerPool, GrowsPastJobsThatBlockAndShrinksAgain) {
  WorkerPool& pool = WorkerPool::shared();
  constexpr std::size_t blocked = 60;
  Mailbox<int> entered;
  Mailbox<int> left;
  Event gate;
  for (std::size_t i = 0; i < blocked; ++i) {
    pool.submit([&] {
      entered.put(1);
      (void)gate.wait();
      left.put(1);
    });
  }
  for (std::size_t i = 0; i < blocked; ++i) entered.take();
  EXPECT_GE(pool.workerCount(), blocked);
  Event other;
  pool.submit([&] { other.set(); });
  EXPECT_TRUE(other.wait());
  gate.set();
  for (std::size_t i = 0; i < blocked; ++i) left.take();
  EXPECT_TRUE(eventually([&] { return pool.workerCount() <= 2; }));
}

TEST(WorkerPool, NeedsFewWorkersForJobsThatAreShort) {
  WorkerPool& pool = WorkerPool::shared();
  Mailbox<int> done;
  for (int i = 0; i < 20'000; ++i) pool.submit([&] { done.put(1); });
  for (int i = 0; i < 20'000; ++i) done.take();
  // The machine may stop a worker for a while, so a few more may come.
  EXPECT_LT(pool.workerCount(), 50U);
}

TEST(WorkerPool, RunsJobsSubmittedByJobs) {
  Mailbox<int> done;
  std::function<void(int)> next = [&](int left) {
    if (left == 0) {
      done.put(1);
    } else {
      WorkerPool::shared().submit([&next, left] { next(left - 1); });
    }
  };
  next(1000);
  EXPECT_EQ(done.take(), 1);
}

TEST(WorkerPool, DestroysAJobOnTheWorkerThatRanIt) {
  struct Noted {
    explicit Noted(Mailbox<std::thread::id>& box) : threads(box) {}
    ~Noted() { threads.put(std::this_thread::get_id()); }
    Mailbox<std::thread::id>& threads;
  };
  Mailbox<std::thread::id> threads;
  auto noted = std::make_shared<Noted>(threads);
  WorkerPool::shared().submit(
      [&threads, noted = std::move(noted)] { threads.put(std::this_thread::get_id()); });
  const auto ranOn = threads.take();
  EXPECT_EQ(threads.take(), ranOn);
  EXPECT_NE(ranOn, std::this_thread::get_id());
}

}  // namespace
}  // namespace orx::testing
