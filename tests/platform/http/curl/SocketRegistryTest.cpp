// SPDX-License-Identifier: MIT
#include <fcntl.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include "platform/http/curl/SocketRegistry.h"
#include "support/Await.h"
#include "support/LoopbackListener.h"

namespace orx::testing {

using namespace platform;
namespace {

class SocketRegistryTest : public ::testing::Test {
 protected:
  SocketRegistryTest() {
    EXPECT_TRUE(poller_.open());
    near_ = sockets_.open(AF_INET, SOCK_STREAM, 0);
    sockaddr_in place{};
    place.sin_family = AF_INET;
    place.sin_port = htons(listener_.port());
    place.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    // It does not block, so the far end comes before it knows that it is connected.
    (void)connect(near_, reinterpret_cast<const sockaddr*>(&place), sizeof place);
    far_ = listener_.accept();
  }
  ~SocketRegistryTest() override {
    sockets_.close(near_);
    endFar();
  }

  void endFar() {
    if (far_ >= 0) close(std::exchange(far_, -1));
  }
  Endpoints endpoints() const {
    sockaddr_in own{};
    socklen_t size = sizeof own;
    getsockname(near_, reinterpret_cast<sockaddr*>(&own), &size);
    return {.localPort = ntohs(own.sin_port),
            .peerPort = listener_.port(),
            .localAddress = "127.0.0.1",
            .peerAddress = "127.0.0.1"};
  }

  const LoopbackListener listener_;
  EpollPoller poller_;
  SocketRegistry sockets_{poller_};
  int near_ = -1;
  int far_ = -1;
};

TEST_F(SocketRegistryTest, TellsALiveConnectionFromOneThatItsPeerHasClosed) {
  EXPECT_FALSE(sockets_.isDead(endpoints()));
  endFar();
  EXPECT_TRUE(eventually([this] { return sockets_.isDead(endpoints()); }));
}

TEST_F(SocketRegistryTest, TakesFromTheLastLookAtAllSocketsWhetherAnIdleConnectionLives) {
  const auto look = [this] { (void)poller_.wait(std::chrono::milliseconds(0)); };
  EXPECT_FALSE(sockets_.isDead(endpoints()));
  poller_.setInterest(near_, EPOLLIN);
  poller_.setInterest(near_, 0);
  look();
  endFar();
  EXPECT_FALSE(sockets_.isDead(endpoints()));
  EXPECT_TRUE(eventually([&] {
    look();
    return sockets_.isDead(endpoints());
  }));
}

TEST_F(SocketRegistryTest, TakesAConnectionThatHasBeenResetForDead) {
  const Endpoints known = endpoints();
  const linger now{.l_onoff = 1, .l_linger = 0};
  setsockopt(far_, SOL_SOCKET, SO_LINGER, &now, sizeof now);
  endFar();
  char byte = 0;
  ASSERT_TRUE(eventually([&] { return recv(near_, &byte, 1, 0) < 0 && errno == ECONNRESET; }));
  // From here on the system names no peer.
  EXPECT_TRUE(sockets_.isDead(known));
}

// What libcurl asks for afterwards can fail, and then a silent peer would hold up all transfers.
TEST_F(SocketRegistryTest, OpensSocketsThatDoNotBlock) {
  EXPECT_NE(fcntl(near_, F_GETFL) & O_NONBLOCK, 0);
  EXPECT_NE(fcntl(near_, F_GETFD) & FD_CLOEXEC, 0);
}

}  // namespace
}  // namespace orx::testing
