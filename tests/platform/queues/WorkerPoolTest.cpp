#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <set>
#include <thread>

#include "platform/queues/WorkerPool.h"
#include "support/Await.h"

namespace orx::testing {

using namespace platform;
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

// Brings a job into the pool each time it is told to.
class JobsOnCommand final : public Duty {
 public:
  void bring(std::function<void()> block) { brought_.put(makeJob(std::move(block))); }
  // The threads that have attended, one after each job that was brought.
  std::thread::id nextAttendant() { return attendants_.take(); }
  bool wasSharedByTwo() const { return sharedByTwo_; }

 private:
  void wait() override {
    if (isAttended_.exchange(true)) sharedByTwo_ = true;
    next_ = brought_.take(std::chrono::hours(1));
  }
  void turn() override {
    attendants_.put(std::this_thread::get_id());
    WorkerPool::shared().submit(std::move(next_));
    isAttended_ = false;
  }

  Mailbox<std::unique_ptr<Job>> brought_;
  Mailbox<std::thread::id> attendants_;
  std::unique_ptr<Job> next_;
  std::atomic<bool> isAttended_ = false;
  std::atomic<bool> sharedByTwo_ = false;
};

// Workers attend to it for the rest of the process.
JobsOnCommand& startedDuty() {
  static auto& duty = *new JobsOnCommand;
  EXPECT_TRUE(WorkerPool::shared().attendTo(duty));
  return duty;
}

TEST(WorkerPool, RunsTheShortJobsOfTheDutyOnTheWorkerThatAttendsToIt) {
  JobsOnCommand& duty = startedDuty();
  Mailbox<std::thread::id> ranOn;
  int switches = 0;
  constexpr int jobs = 1000;
  for (int i = 0; i < jobs; ++i) {
    duty.bring([&] { ranOn.put(std::this_thread::get_id()); });
    if (duty.nextAttendant() != ranOn.take()) ++switches;
  }
  // The machine may stop a worker for a while, and then another one takes over.
  EXPECT_LT(switches, jobs / 10);
  EXPECT_FALSE(duty.wasSharedByTwo());
}

TEST(WorkerPool, LetsAnotherWorkerTakeTheDutyOverFromOneThatAJobKeeps) {
  JobsOnCommand& duty = startedDuty();
  Mailbox<std::thread::id> entered;
  Mailbox<int> left;
  Event gate;
  constexpr int blocked = 20;
  std::set<std::thread::id> kept;
  for (int i = 0; i < blocked; ++i) {
    duty.bring([&] {
      entered.put(std::this_thread::get_id());
      (void)gate.wait();
      left.put(1);
    });
    duty.nextAttendant();
    kept.insert(entered.take());
  }
  EXPECT_EQ(kept.size(), static_cast<std::size_t>(blocked));
  duty.bring([&] { entered.put(std::this_thread::get_id()); });
  EXPECT_FALSE(kept.contains(duty.nextAttendant()));
  EXPECT_FALSE(kept.contains(entered.take()));
  EXPECT_EQ(left.count(), 0U);
  gate.set();
  for (int i = 0; i < blocked; ++i) left.take();
  EXPECT_FALSE(duty.wasSharedByTwo());
}

TEST(WorkerPool, LetsADutysJobWaitForTheNextOne) {
  JobsOnCommand& duty = startedDuty();
  Mailbox<int> done;
  duty.bring([&] {
    Event inner;
    duty.bring([&inner] { inner.set(); });
    done.put(inner.wait() ? 1 : 0);
  });
  EXPECT_EQ(done.take(), 1);
}

TEST(WorkerPool, AttendsToItsDutyWhileJobsOfOthersKeepComing) {
  JobsOnCommand& duty = startedDuty();
  std::atomic<bool> enough = false;
  Mailbox<int> done;
  std::function<void()> again = [&] {
    if (enough) {
      done.put(0);
    } else {
      WorkerPool::shared().submit(again);
    }
  };
  for (int i = 0; i < 4; ++i) again();
  for (int i = 0; i < 100; ++i) {
    duty.bring([&] { done.put(1); });
    EXPECT_EQ(done.take(), 1);
  }
  enough = true;
  for (int i = 0; i < 4; ++i) EXPECT_EQ(done.take(), 0);
}

}  // namespace
}  // namespace orx::testing
