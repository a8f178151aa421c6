// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>
#include <sys/types.h>
#include <unistd.h>

#include <atomic>
#include <functional>
#include <set>
#include <thread>

#include "platform/queues/WorkerPool.h"
#include "support/Await.h"
#include "support/JobsOnCommand.h"
#include "support/ThreadCount.h"

namespace orx::testing {

using namespace platform;
namespace {

void submit(std::function<void()> block) { WorkerPool::shared().submit(makeJob(std::move(block))); }

TEST(WorkerPool, GrowsPastJobsThatBlockAndShrinksAgain) {
  constexpr std::size_t blocked = 60;
  Mailbox<int> entered;
  Mailbox<int> left;
  Event gate;
  for (std::size_t i = 0; i < blocked; ++i) {
    submit([&] {
      entered.put(1);
      (void)gate.wait();
      left.put(1);
    });
  }
  for (std::size_t i = 0; i < blocked; ++i) entered.take();
  EXPECT_GE(threadCount(), blocked);
  Event other;
  submit([&] { other.set(); });
  EXPECT_TRUE(other.wait());
  gate.set();
  for (std::size_t i = 0; i < blocked; ++i) left.take();
  // The thread of this test and two workers.
  EXPECT_TRUE(eventually([] { return threadCount() <= 3; }));
  EXPECT_EQ(threadCount(), 3U) << "two workers stay, however many fell asleep together";
}

// The threads that run so many jobs at the same time, when they have fallen asleep again.
std::set<pid_t> threadsOf(int jobs) {
  Mailbox<pid_t> entered;
  Mailbox<int> left;
  Event gate;
  for (int i = 0; i < jobs; ++i) {
    submit([&] {
      entered.put(gettid());
      (void)gate.wait();
      left.put(1);
    });
  }
  std::set<pid_t> threads;
  for (int i = 0; i < jobs; ++i) threads.insert(entered.take());
  gate.set();
  for (int i = 0; i < jobs; ++i) left.take();
  EXPECT_TRUE(eventually(othersSleep));
  return threads;
}

TEST(WorkerPool, KeepsIdleWorkersForTheNextBurst) {
  constexpr int jobs = 20;
  std::set<pid_t> all = threadsOf(jobs);
  all.merge(threadsOf(jobs));
  EXPECT_LT(all.size(), 2U * jobs - 5);
}

TEST(WorkerPool, NeedsFewWorkersForJobsThatAreShort) {
  Mailbox<int> done;
  for (int i = 0; i < 20'000; ++i) submit([&] { done.put(1); });
  for (int i = 0; i < 20'000; ++i) done.take();
  // The system may stop a worker for a while, so a few more may come.
  EXPECT_LT(threadCount(), 50U);
}

TEST(WorkerPool, RunsJobsSubmittedByJobs) {
  Mailbox<int> done;
  std::function<void(int)> next = [&](int left) {
    if (left == 0) {
      done.put(1);
    } else {
      submit([&next, left] { next(left - 1); });
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
  submit([&threads, noted = std::move(noted)] { threads.put(std::this_thread::get_id()); });
  const auto ranOn = threads.take();
  EXPECT_EQ(threads.take(), ranOn);
  EXPECT_NE(ranOn, std::this_thread::get_id());
}

TEST(WorkerPool, RunsTheReactorsShortJobsOnTheLeader) {
  JobsOnCommand& reactor = JobsOnCommand::running();
  Mailbox<std::thread::id> ranOn;
  int switches = 0;
  constexpr int jobs = 1000;
  for (int i = 0; i < jobs; ++i) {
    reactor.submitNext([&] { ranOn.put(std::this_thread::get_id()); });
    if (reactor.nextLeader() != ranOn.take()) ++switches;
  }
  // The system may stop the leader for a while, and then a follower is promoted.
  EXPECT_LT(switches, jobs / 10);
  EXPECT_FALSE(reactor.hadTwoLeaders());
}

TEST(WorkerPool, PromotesAFollowerWhenAJobKeepsTheLeader) {
  JobsOnCommand& reactor = JobsOnCommand::running();
  Mailbox<std::thread::id> entered;
  Mailbox<int> left;
  Event gate;
  constexpr int blocked = 20;
  std::set<std::thread::id> kept;
  for (int i = 0; i < blocked; ++i) {
    reactor.submitNext([&] {
      entered.put(std::this_thread::get_id());
      (void)gate.wait();
      left.put(1);
    });
    reactor.nextLeader();
    kept.insert(entered.take());
  }
  EXPECT_EQ(kept.size(), static_cast<std::size_t>(blocked));
  reactor.submitNext([&] { entered.put(std::this_thread::get_id()); });
  EXPECT_FALSE(kept.contains(reactor.nextLeader()));
  EXPECT_FALSE(kept.contains(entered.take()));
  EXPECT_EQ(left.count(), 0U);
  gate.set();
  for (int i = 0; i < blocked; ++i) left.take();
  EXPECT_FALSE(reactor.hadTwoLeaders());
}

TEST(WorkerPool, LetsAJobOfTheReactorWaitForTheNextOne) {
  JobsOnCommand& reactor = JobsOnCommand::running();
  Mailbox<int> done;
  reactor.submitNext([&] {
    Event inner;
    reactor.submitNext([&inner] { inner.set(); });
    done.put(inner.wait() ? 1 : 0);
  });
  EXPECT_EQ(done.take(), 1);
  for (int i = 0; i < 2; ++i) reactor.nextLeader();
}

TEST(WorkerPool, RunsTheReactorWhileOtherJobsKeepComing) {
  JobsOnCommand& reactor = JobsOnCommand::running();
  std::atomic<bool> enough = false;
  Mailbox<int> done;
  std::function<void()> again = [&] {
    if (enough) {
      done.put(0);
    } else {
      submit(again);
    }
  };
  for (int i = 0; i < 4; ++i) again();
  for (int i = 0; i < 100; ++i) {
    reactor.submitNext([&] { done.put(1); });
    reactor.nextLeader();
    EXPECT_EQ(done.take(), 1);
  }
  enough = true;
  for (int i = 0; i < 4; ++i) EXPECT_EQ(done.take(), 0);
}

}  // namespace
}  // namespace orx::testing
