// SPDX-License-Identifier: MIT
#pragma once

#include <poll.h>

#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <list>
#include <string>
#include <thread>
#include <vector>

#include "support/LoopbackListener.h"

namespace orx::testing {

// A way to a port on loopback that is as long as one likes: passes the bytes of any number of TCP
// connections on, in both directions, each time after a delay. What a client sends first comes a
// round trip later still, as TCP's own handshake over such a way would have it.
class Relay {
 public:
  explicit Relay(std::uint16_t target, std::chrono::milliseconds delayEachWay = {});
  // Cuts all connections.
  ~Relay();
  Relay(const Relay&) = delete;
  Relay& operator=(const Relay&) = delete;

  std::uint16_t port() const { return listener_.port(); }
  // How often the clients had to wait for the other end so far: once for each connection, and once
  // for each time that the server sent after its client had.
  std::size_t roundTripCount() const { return roundTrips_; }
  std::size_t connectionCount() const { return connectionCount_; }

 private:
  using Clock = std::chrono::steady_clock;

  struct Piece {
    Clock::time_point due;
    std::string bytes;  // empty: the end
  };
  // One direction of a connection.
  struct Way {
    int from = -1;
    int to = -1;
    bool hasEnded = false;  // nothing more is read
    bool isDone = false;    // and nothing more is to be passed on
    std::deque<Piece> pieces;
  };
  struct Connection {
    Way toServer;
    Way toClient;
    bool clientHasSent = false;
    bool clientSentLast = false;
  };

  void run();
  std::vector<pollfd> awaited() const;
  void acceptClient();
  void receive(Connection& connection, Way& way);
  void passOn(Way& way) const;
  Clock::time_point nextDue() const;

  const LoopbackListener listener_;
  const std::uint16_t target_;
  const std::chrono::milliseconds delay_;
  const int stop_;
  std::list<Connection> connections_;
  std::atomic<std::size_t> roundTrips_{0};
  std::atomic<std::size_t> connectionCount_{0};
  std::thread thread_;
};

}  // namespace orx::testing
