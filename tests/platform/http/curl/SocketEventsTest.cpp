#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <thread>

#include "platform/http/curl/SocketEvents.h"
#include "support/Await.h"

namespace orx::testing {

using namespace platform;
namespace {

class SocketEventsTest : public ::testing::Test {
 protected:
  SocketEventsTest() {
    EXPECT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends_.data()), 0);
    EXPECT_TRUE(events_.open());
  }
  ~SocketEventsTest() override {
    for (const int end : ends_) close(end);
  }

  int near() const { return ends_[0]; }
  void sayFromFar() const { EXPECT_EQ(write(ends_[1], "!", 1), 1); }
  // What wait() finds at once, by descriptor; -1 for nothing.
  int readyNow() {
    const auto ready = events_.wait(std::chrono::milliseconds(0));
    return ready.empty() ? -1 : ready.front().ready;
  }

  SocketEvents events_;
  std::array<int, 2> ends_{-1, -1};
};

TEST_F(SocketEventsTest, ReportsWhatIsWanted) {
  events_.want(near(), SocketEvents::reading);
  EXPECT_EQ(readyNow(), -1);
  sayFromFar();
  const auto ready = events_.wait(patience);
  ASSERT_EQ(ready.size(), 1U);
  EXPECT_EQ(ready.front().descriptor, near());
  EXPECT_EQ(ready.front().ready, SocketEvents::reading);
  events_.want(near(), SocketEvents::reading | SocketEvents::writing);
  EXPECT_EQ(readyNow(), SocketEvents::reading | SocketEvents::writing);
  events_.want(near(), SocketEvents::writing);
  EXPECT_EQ(readyNow(), SocketEvents::writing);
}

TEST_F(SocketEventsTest, SaysNothingOfASocketOfWhichNothingIsWanted) {
  events_.want(near(), SocketEvents::reading);
  events_.want(near(), SocketEvents::nothing);
  sayFromFar();
  EXPECT_EQ(readyNow(), -1);
}

TEST_F(SocketEventsTest, FindsWhatCameWhileNothingWasWanted) {
  events_.willStay(near());
  events_.want(near(), SocketEvents::reading);
  events_.want(near(), SocketEvents::nothing);
  sayFromFar();
  // Once before it is wanted again, and once more: it does not wake anybody for ever.
  EXPECT_EQ(readyNow(), -1);
  EXPECT_EQ(readyNow(), -1);
  events_.want(near(), SocketEvents::reading);
  EXPECT_EQ(readyNow(), SocketEvents::reading);
}

TEST_F(SocketEventsTest, SleepsOnThoughAnIdleConnectionHasEnded) {
  events_.willStay(near());
  events_.want(near(), SocketEvents::reading);
  events_.want(near(), SocketEvents::nothing);
  close(std::exchange(ends_[1], -1));
  EXPECT_EQ(readyNow(), -1);
  const auto begin = std::chrono::steady_clock::now();
  EXPECT_TRUE(events_.wait(std::chrono::milliseconds(20)).empty());
  EXPECT_GE(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds(20));
}

TEST_F(SocketEventsTest, ForgetsASocketThatIsClosed) {
  events_.willStay(near());
  events_.want(near(), SocketEvents::reading);
  // Still open under another descriptor, as in a child that has just been forked.
  const int other = dup(near());
  events_.willClose(near());
  close(std::exchange(ends_[0], -1));
  sayFromFar();
  EXPECT_EQ(readyNow(), -1);
  close(other);
}

TEST_F(SocketEventsTest, KnowsANewSocketFromTheOldOneOfTheSameNumber) {
  events_.willStay(near());
  events_.want(near(), SocketEvents::reading);
  events_.willClose(near());
  std::array<int, 2> next{};
  ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, next.data()), 0);
  ASSERT_EQ(dup2(next[0], near()), near());
  events_.willStay(near());
  events_.want(near(), SocketEvents::reading);
  EXPECT_EQ(write(next[1], "!", 1), 1);
  EXPECT_EQ(readyNow(), SocketEvents::reading);
  for (const int end : next) close(end);
}

TEST_F(SocketEventsTest, ReportsAConnectionThatBroke) {
  events_.want(near(), SocketEvents::writing);
  close(std::exchange(ends_[1], -1));
  EXPECT_NE(readyNow(), -1);
}

TEST_F(SocketEventsTest, IsWokenFromAnotherThread) {
  std::thread waker([this] { events_.wake(); });
  EXPECT_TRUE(events_.wait(std::chrono::hours(1)).empty());
  waker.join();
}

TEST_F(SocketEventsTest, RemembersThatItWasWoken) {
  events_.wake();
  events_.wake();
  EXPECT_TRUE(events_.wait(std::chrono::hours(1)).empty());
}

}  // namespace
}  // namespace orx::testing
