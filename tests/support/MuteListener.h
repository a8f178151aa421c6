#pragma once

#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdint>
#include <stdexcept>

namespace orx::testing {

// A loopback port that takes connections and never says a word on them.
class MuteListener {
 public:
  MuteListener() : socket_(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    auto* plain = reinterpret_cast<sockaddr*>(&address);
    if (bind(socket_, plain, size) != 0 || listen(socket_, 512) != 0 ||
        getsockname(socket_, plain, &size) != 0) {
      throw std::runtime_error("cannot listen");
    }
    port_ = ntohs(address.sin_port);
  }
  MuteListener(const MuteListener&) = delete;
  MuteListener& operator=(const MuteListener&) = delete;
  ~MuteListener() { close(socket_); }

  std::uint16_t port() const { return port_; }
  // Waits for a connection, which is left open.
  bool accept() const { return ::accept(socket_, nullptr, nullptr) >= 0; }

 private:
  int socket_;
  std::uint16_t port_ = 0;
};

}  // namespace orx::testing
