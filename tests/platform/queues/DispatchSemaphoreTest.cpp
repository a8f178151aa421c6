// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <memory>
#include <thread>
#include <vector>

#include "platform/queues/DispatchSemaphore.h"
#include "support/Await.h"

namespace orx::testing {
namespace {

// Queues whose first operation waits for the semaphore and whose second reports the queue's number.
class Waiters {
 public:
  explicit Waiters(std::size_t count) : semaphore_(std::make_shared<DispatchSemaphore>(count)) {}

  void addOne() {
    const auto queue = std::make_shared<OperationQueue>();
    Event waits;
    queue->addOperationWithBlock([&, semaphore = semaphore_, queue] {
      semaphore->wait(queue);
      waits.set();
    });
    ASSERT_TRUE(waits.wait());
    queue->addOperationWithBlock([this, number = added_++] { passed_.put(number); });
  }
  void signal() { semaphore_->signal(); }
  int nextPassed() { return passed_.take(); }
  std::size_t passedCount() const { return passed_.count(); }

 private:
  std::shared_ptr<DispatchSemaphore> semaphore_;
  int added_ = 0;
  Mailbox<int> passed_;
};

TEST(DispatchSemaphore, LetsAsManyPassAtOnceAsItsCountSays) {
  Waiters waiters(2);
  for (int i = 0; i < 2; ++i) {
    waiters.addOne();
    EXPECT_EQ(waiters.nextPassed(), i);
  }
  waiters.addOne();
  EXPECT_EQ(waiters.passedCount(), 0U);
  waiters.signal();
  EXPECT_EQ(waiters.nextPassed(), 2);
}

TEST(DispatchSemaphore, LetsQueuesGoOnInTheOrderInWhichTheyBeganToWait) {
  Waiters waiters(0);
  for (int i = 0; i < 3; ++i) waiters.addOne();
  for (int i = 0; i < 3; ++i) {
    EXPECT_EQ(waiters.passedCount(), 0U);
    waiters.signal();
    EXPECT_EQ(waiters.nextPassed(), i);
  }
}

TEST(DispatchSemaphore, KeepsASignalThatComesFirst) {
  Waiters waiters(0);
  waiters.signal();
  waiters.addOne();
  EXPECT_EQ(waiters.nextPassed(), 0);
  // It counts for one.
  waiters.addOne();
  Event other;
  std::make_shared<OperationQueue>()->addOperationWithBlock([&] { other.set(); });
  ASSERT_TRUE(other.wait());
  EXPECT_EQ(waiters.passedCount(), 0U);
  waiters.signal();
  EXPECT_EQ(waiters.nextPassed(), 1);
}

TEST(DispatchSemaphore, LosesNoSignalThatComesDuringTheWait) {
  constexpr int rounds = 1000;
  const auto semaphore = std::make_shared<DispatchSemaphore>(0);
  const auto queue = std::make_shared<OperationQueue>();
  Mailbox<int> passed;
  std::thread signalling([&] {
    for (int i = 0; i < rounds; ++i) semaphore->signal();
  });
  for (int i = 0; i < rounds; ++i) {
    queue->addOperationWithBlock([&] { semaphore->wait(queue); });
    queue->addOperationWithBlock([&, i] { passed.put(i); });
    EXPECT_EQ(passed.take(), i);
  }
  signalling.join();
}

}  // namespace
}  // namespace orx::testing
