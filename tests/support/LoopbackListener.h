// SPDX-License-Identifier: MIT
#pragma once

#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdint>
#include <stdexcept>

#include "support/Await.h"

namespace orx::testing {

// Listens on a loopback port that the system chose. The kernel completes connections to it, and
// nothing is sent on them until the test accepts them.
class LoopbackListener {
 public:
  // `flags` are added to SOCK_CLOEXEC when the socket is made.
  explicit LoopbackListener(int flags = 0)
      : socket_(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | flags, 0)) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    auto* plain = reinterpret_cast<sockaddr*>(&address);
    if (bind(socket_, plain, size) != 0 || listen(socket_, longestQueue) != 0 ||
        getsockname(socket_, plain, &size) != 0) {
      close(socket_);
      throw std::runtime_error("cannot listen");
    }
    port_ = ntohs(address.sin_port);
  }
  LoopbackListener(const LoopbackListener&) = delete;
  LoopbackListener& operator=(const LoopbackListener&) = delete;
  ~LoopbackListener() { close(socket_); }

  int descriptor() const { return socket_; }
  std::uint16_t port() const { return port_; }
  // The next connection, which the caller must close; -1 when there is none.
  int accept() const { return accept4(socket_, nullptr, nullptr, SOCK_CLOEXEC); }
  // Waits until a connection can be accepted; false when none comes in time.
  [[nodiscard]] bool awaitConnection() const {
    pollfd waiting{.fd = socket_, .events = POLLIN, .revents = 0};
    const auto limit = std::chrono::duration_cast<std::chrono::milliseconds>(patience);
    return poll(&waiting, 1, static_cast<int>(limit.count())) == 1;
  }

 private:
  static constexpr int longestQueue = 16'384;

  int socket_;
  std::uint16_t port_ = 0;
};

}  // namespace orx::testing
