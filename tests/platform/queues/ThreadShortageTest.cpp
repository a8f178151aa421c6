// SPDX-License-Identifier: MIT
// What happens when the system refuses threads. Each test runs in a child, for the limit stays.
#include <gtest/gtest.h>

#include <memory>
#include <system_error>

#include "platform/queues/OperationQueue.h"
#include "platform/queues/WorkerPool.h"
#include "support/Await.h"
#include "support/JobsOnCommand.h"
#include "support/ThreadCount.h"
#include "support/ThreadLimit.h"

namespace orx::testing {

using namespace platform;
namespace {

constexpr int fine = 7;

class ThreadShortage : public ::testing::TestWithParam<std::size_t> {
 protected:
  void SetUp() override {
    if (!canLimitThreads()) GTEST_SKIP() << "only root's processes can be limited";
  }
};

TEST_F(ThreadShortage, AddingAnOperationThrowsWithoutAnyThreadAndLeavesTheQueueAsItWas) {
  EXPECT_EQ(statusWithThreads(0,
                              [] {
                                const auto queue = std::make_shared<OperationQueue>();
                                Mailbox<int> ran;
                                try {
                                  queue->addOperationWithBlock([&] { ran.put(1); });
                                  return 1;
                                } catch (const std::system_error& error) {
                                  if (error.code() != std::errc::resource_unavailable_try_again) {
                                    return 2;
                                  }
                                }
                                limitThreads(1);
                                queue->addOperationWithBlock([&] { ran.put(2); });
                                if (ran.take() != 2) return 3;
                                return ran.count() == 0 ? fine : 4;
                              }),
            fine);
}

// Jobs that come one after the other from outside, while the leader sleeps in its reactor.
TEST_P(ThreadShortage, RunsEveryJobOnTheThreadsThatThereAre) {
  EXPECT_EQ(statusWithThreads(GetParam(),
                              [] {
                                JobsOnCommand::anew();
                                Mailbox<int> done;
                                for (int i = 0; i < 300; ++i) {
                                  WorkerPool::shared().submit(makeJob([&, i] { done.put(i); }));
                                  if (done.take() != i) return 1;
                                }
                                return fine;
                              }),
            fine);
}

TEST_P(ThreadShortage, RunsTheReactorAndItsJobsOnTheThreadsThatThereAre) {
  EXPECT_EQ(statusWithThreads(GetParam(),
                              [] {
                                JobsOnCommand& reactor = JobsOnCommand::anew();
                                const auto queue = std::make_shared<OperationQueue>();
                                Mailbox<int> done;
                                // Each operation needs the reactor before the next one can run.
                                for (int i = 0; i < 300; ++i) {
                                  queue->addOperationWithBlock([&, i, queue] {
                                    queue->setSuspended(true);
                                    // The last one still has the queue when this test returns.
                                    reactor.submitNext([&, i, queue] {
                                      done.put(i);
                                      queue->setSuspended(false);
                                    });
                                  });
                                }
                                for (int i = 0; i < 300; ++i) {
                                  if (done.take() != i) return 1;
                                }
                                return reactor.hadTwoLeaders() ? 2 : fine;
                              }),
            fine);
}

INSTANTIATE_TEST_SUITE_P(Threads, ThreadShortage, ::testing::Values(1, 2, 3),
                         ::testing::PrintToStringParamName());

// The second thread is a watchdog's at first, which can get no third one.
TEST_F(ThreadShortage, LetsAJobWaitForTheNextOneOnTwoThreads) {
  EXPECT_EQ(statusWithThreads(2,
                              [] {
                                JobsOnCommand& reactor = JobsOnCommand::anew();
                                Mailbox<int> done;
                                for (int i = 0; i < 20; ++i) {
                                  reactor.submitNext([&] {
                                    Event inner;
                                    reactor.submitNext([&inner] { inner.set(); });
                                    done.put(inner.wait() ? 1 : 0);
                                  });
                                  if (done.take() != 1) return 1;
                                }
                                return reactor.hadTwoLeaders() ? 2 : fine;
                              }),
            fine);
}

// There is no watchdog that would take the lead from a job that keeps it.
TEST_F(ThreadShortage, LetsAWorkerLeadThatReturnsWhileAJobKeepsTheLeader) {
  EXPECT_EQ(statusWithThreads(2,
                              [] {
                                JobsOnCommand& reactor = JobsOnCommand::anew();
                                Mailbox<int> done;
                                const auto waitForTheNextOne = [&] {
                                  Event inner;
                                  reactor.submitNext([&inner] { inner.set(); });
                                  done.put(inner.wait() ? 1 : 0);
                                };
                                // Makes the second thread a worker.
                                reactor.submitNext(waitForTheNextOne);
                                if (done.take() != 1) return 1;
                                Event entered;
                                Event gate;
                                WorkerPool::shared().submit(makeJob([&] {
                                  entered.set();
                                  (void)gate.wait();
                                }));
                                if (!entered.wait()) return 2;
                                Event kept;
                                reactor.submitNext([&] {
                                  kept.set();
                                  waitForTheNextOne();
                                });
                                if (!kept.wait()) return 3;
                                gate.set();
                                return done.take() == 1 ? fine : 4;
                              }),
            fine);
}

TEST_F(ThreadShortage, LeavesTwoWorkersWhenItIsOver) {
  EXPECT_EQ(statusWithThreads(2,
                              [] {
                                JobsOnCommand& reactor = JobsOnCommand::anew();
                                Mailbox<int> done;
                                reactor.submitNext([&] {
                                  Event inner;
                                  reactor.submitNext([&inner] { inner.set(); });
                                  done.put(inner.wait() ? 1 : 0);
                                });
                                if (done.take() != 1) return 1;
                                limitThreads(30);
                                Event gate;
                                constexpr int blocked = 10;
                                for (int i = 0; i < blocked; ++i) {
                                  WorkerPool::shared().submit(makeJob([&] {
                                    done.put(1);
                                    (void)gate.wait();
                                    done.put(2);
                                  }));
                                }
                                for (int i = 0; i < blocked; ++i) done.take();
                                gate.set();
                                for (int i = 0; i < blocked; ++i) done.take();
                                // With the thread of this test.
                                return eventually([] { return threadCount() == 3; }) ? fine : 2;
                              }),
            fine);
}

TEST_F(ThreadShortage, UsesTheThreadsThatCanBeHadLater) {
  EXPECT_EQ(statusWithThreads(1,
                              [] {
                                JobsOnCommand::anew();
                                Event first;
                                Event gate;
                                Event left;
                                WorkerPool::shared().submit(makeJob([&] {
                                  first.set();
                                  (void)gate.wait();
                                  left.set();
                                }));
                                if (!first.wait()) return 1;
                                limitThreads(8);
                                // The pool asks for threads again, at the latest for later jobs.
                                const bool ran = eventually([] {
                                  static Event& second = *new Event;
                                  WorkerPool::shared().submit(makeJob([] { second.set(); }));
                                  return second.isSet();
                                });
                                if (!ran || left.isSet()) return 2;
                                gate.set();
                                return left.wait() ? fine : 3;
                              }),
            fine);
}

}  // namespace
}  // namespace orx::testing
