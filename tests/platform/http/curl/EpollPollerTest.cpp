// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <thread>

#include "platform/http/curl/EpollPoller.h"
#include "support/Await.h"
#include "support/FailingCalls.h"

namespace orx::testing {

using namespace platform;
namespace {

class EpollPollerTest : public ::testing::Test {
 protected:
  EpollPollerTest() {
    EXPECT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends_.data()), 0);
    EXPECT_TRUE(poller_.open());
  }
  ~EpollPollerTest() override {
    for (const int end : ends_) close(end);
  }

  int near() const { return ends_[0]; }
  void sayFromFar() const { EXPECT_EQ(write(ends_[1], "!", 1), 1); }
  // What wait() finds at once, by descriptor; -1 for nothing.
  int readyNow() {
    const auto ready = poller_.wait(std::chrono::milliseconds(0));
    return ready.empty() ? -1 : static_cast<int>(ready.front().events);
  }

  EpollPoller poller_;
  std::array<int, 2> ends_{-1, -1};
};

TEST_F(EpollPollerTest, ReportsWhatIsWanted) {
  poller_.setInterest(near(), EPOLLIN);
  EXPECT_EQ(readyNow(), -1);
  sayFromFar();
  const auto ready = poller_.wait(patience);
  ASSERT_EQ(ready.size(), 1U);
  EXPECT_EQ(ready.front().data.fd, near());
  EXPECT_EQ(static_cast<int>(ready.front().events), EPOLLIN);
  poller_.setInterest(near(), EPOLLIN | EPOLLOUT);
  EXPECT_EQ(readyNow(), EPOLLIN | EPOLLOUT);
  poller_.setInterest(near(), EPOLLOUT);
  EXPECT_EQ(readyNow(), EPOLLOUT);
}

TEST_F(EpollPollerTest, KnowsASocketForQuietOnceItHasLookedAndUntilSomethingComes) {
  poller_.registerSocket(near());
  EXPECT_FALSE(poller_.isQuiet(near()));
  poller_.setInterest(near(), EPOLLIN);
  EXPECT_EQ(readyNow(), -1);
  EXPECT_FALSE(poller_.isQuiet(near()));
  poller_.setInterest(near(), 0);
  // Since the last look something may have come.
  EXPECT_FALSE(poller_.isQuiet(near()));
  EXPECT_EQ(readyNow(), -1);
  EXPECT_TRUE(poller_.isQuiet(near()));
  sayFromFar();
  EXPECT_EQ(readyNow(), -1);
  EXPECT_FALSE(poller_.isQuiet(near()));
}

TEST_F(EpollPollerTest, SaysNothingOfASocketOfWhichNothingIsWanted) {
  poller_.setInterest(near(), EPOLLIN);
  poller_.setInterest(near(), 0);
  sayFromFar();
  EXPECT_EQ(readyNow(), -1);
}

TEST_F(EpollPollerTest, FindsWhatCameWhileNothingWasWanted) {
  poller_.registerSocket(near());
  poller_.setInterest(near(), EPOLLIN);
  poller_.setInterest(near(), 0);
  sayFromFar();
  // Once before it is wanted again, and once more: it does not wake anybody for ever.
  EXPECT_EQ(readyNow(), -1);
  EXPECT_EQ(readyNow(), -1);
  poller_.setInterest(near(), EPOLLIN);
  EXPECT_EQ(readyNow(), EPOLLIN);
}

TEST_F(EpollPollerTest, SleepsOnThoughAnIdleConnectionHasEnded) {
  poller_.registerSocket(near());
  poller_.setInterest(near(), EPOLLIN);
  poller_.setInterest(near(), 0);
  close(std::exchange(ends_[1], -1));
  EXPECT_EQ(readyNow(), -1);
  const auto begin = std::chrono::steady_clock::now();
  EXPECT_TRUE(poller_.wait(std::chrono::milliseconds(20)).empty());
  EXPECT_GE(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds(20));
}

TEST_F(EpollPollerTest, ForgetsASocketThatIsClosed) {
  poller_.registerSocket(near());
  poller_.setInterest(near(), EPOLLIN);
  // Still open under another descriptor, as in a child that has just been forked.
  const int other = dup(near());
  poller_.unregisterSocket(near());
  close(std::exchange(ends_[0], -1));
  sayFromFar();
  EXPECT_EQ(readyNow(), -1);
  close(other);
}

TEST_F(EpollPollerTest, KnowsANewSocketFromTheOldOneOfTheSameNumber) {
  poller_.registerSocket(near());
  poller_.setInterest(near(), EPOLLIN);
  poller_.unregisterSocket(near());
  std::array<int, 2> next{};
  ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, next.data()), 0);
  ASSERT_EQ(dup2(next[0], near()), near());
  poller_.registerSocket(near());
  poller_.setInterest(near(), EPOLLIN);
  EXPECT_EQ(write(next[1], "!", 1), 1);
  EXPECT_EQ(readyNow(), EPOLLIN);
  for (const int end : next) close(end);
}

TEST_F(EpollPollerTest, ReportsAConnectionThatBroke) {
  poller_.setInterest(near(), EPOLLOUT);
  close(std::exchange(ends_[1], -1));
  EXPECT_NE(readyNow(), -1);
}

TEST_F(EpollPollerTest, IsWokenFromAnotherThread) {
  std::thread waker([this] { poller_.wake(); });
  EXPECT_TRUE(poller_.wait(std::chrono::hours(1)).empty());
  waker.join();
}

TEST_F(EpollPollerTest, IsWokenWhereTheEventCannotBeWritten) {
  {
    const FailingCalls failing(FailingCalls::Function::write, EIO, 1);
    poller_.wake();
    EXPECT_EQ(failing.count(), 1U);
  }
  EXPECT_TRUE(poller_.wait(std::chrono::hours(1)).empty());
  const auto begin = std::chrono::steady_clock::now();
  EXPECT_TRUE(poller_.wait(std::chrono::milliseconds(20)).empty());
  EXPECT_GE(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds(20));
}

TEST_F(EpollPollerTest, SaysWhenTheSystemDoesNotWatchASocket) {
  {
    const FailingCalls failing(FailingCalls::Function::epoll_ctl, ENOSPC, 1);
    EXPECT_FALSE(poller_.setInterest(near(), EPOLLIN));
    EXPECT_EQ(errno, ENOSPC);
  }
  EXPECT_TRUE(poller_.setInterest(near(), EPOLLIN));
}

TEST_F(EpollPollerTest, RemembersThatItWasWoken) {
  poller_.wake();
  poller_.wake();
  EXPECT_TRUE(poller_.wait(std::chrono::hours(1)).empty());
}

}  // namespace
}  // namespace orx::testing
