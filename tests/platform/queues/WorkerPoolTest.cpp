#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <set>
#include <thread>

#include "platform/queues/WorkerPool.h"
#include "support/Await.h"
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
  // This test's thread and two workers remain.
  EXPECT_TRUE(eventually([] { return threadCount() <= 3; }));
  EXPECT_EQ(threadCount(), 3U) << "two workers stay, however many fell asleep together";
}

TEST(WorkerPool, NeedsFewWorkersForJobsThatAreShort) {
  Mailbox<int> done;
  for (int i = 0; i < 20'000; ++i) submit([&] { done.put(1); });
  for (int i = 0; i < 20'000; ++i) done.take();
  // The pool starts more workers while the system does not schedule one, so the number may exceed
  // two.
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

// A reactor that submits one job for each call of submitNext().
class JobsOnCommand final : public Reactor {
 public:
  void submitNext(std::function<void()> block) { pending_.put(makeJob(std::move(block))); }
  // The thread that led when the next job was submitted.
  std::thread::id nextLeader() { return leaders_.take(); }
  bool hadTwoLeaders() const { return hadTwoLeaders_; }

 private:
  void wait() override {
    if (isLed_.exchange(true)) hadTwoLeaders_ = true;
    next_ = pending_.take(std::chrono::hours(1));
  }
  void dispatch() override {
    leaders_.put(std::this_thread::get_id());
    WorkerPool::shared().submit(std::move(next_));
    isLed_ = false;
  }

  Mailbox<std::unique_ptr<Job>> pending_;
  Mailbox<std::thread::id> leaders_;
  std::unique_ptr<Job> next_;
  std::atomic<bool> isLed_ = false;
  std::atomic<bool> hadTwoLeaders_ = false;
};

// Not destroyed, because workers run the reactor until the process ends.
JobsOnCommand& runningReactor() {
  static auto& reactor = *new JobsOnCommand;
  EXPECT_TRUE(WorkerPool::shared().setReactor(reactor));
  return reactor;
}

TEST(WorkerPool, RunsTheReactorsShortJobsOnTheLeader) {
  JobsOnCommand& reactor = runningReactor();
  Mailbox<std::thread::id> ranOn;
  int switches = 0;
  constexpr int jobs = 1000;
  for (int i = 0; i < jobs; ++i) {
    reactor.submitNext([&] { ranOn.put(std::this_thread::get_id()); });
    if (reactor.nextLeader() != ranOn.take()) ++switches;
  }
  // While the system does not schedule the leader, the pool promotes a follower, so a few switches
  // are normal.
  EXPECT_LT(switches, jobs / 10);
  EXPECT_FALSE(reactor.hadTwoLeaders());
}

TEST(WorkerPool, PromotesAFollowerWhenAJobKeepsTheLeader) {
  JobsOnCommand& reactor = runningReactor();
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
  JobsOnCommand& reactor = runningReactor();
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
  JobsOnCommand& reactor = runningReactor();
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
