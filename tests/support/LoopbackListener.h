#pragma once

#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdint>
#include <stdexcept>

#include "support/Await.h"

namespace orx::testing {

// A loopback port that the system chose. Connections to it are made; nobody says a word on them
// unless the test accepts them.
class LoopbackListener {
 public:
  // `flags`: what the socket is made with beside SOCK_CLOEXEC.
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
  // The next connection, which is the caller's to close; -1 when there is none.
  int accept() const { return accept4(socket_, nullptr, nullptr, SOCK_CLOEXEC); }
  // Whether a connection is there to be accepted; waits for one.
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
