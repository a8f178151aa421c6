// SPDX-License-Identifier: MIT
#include "devserver/ListeningSocket.h"

#include <arpa/inet.h>
#include <netdb.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <memory>
#include <stdexcept>

namespace orx::devserver {
namespace {

[[noreturn]] void fail(const std::string& place, const std::string& reason) {
  throw std::runtime_error("cannot listen on " + place + ": " + reason);
}

using Addresses = std::unique_ptr<addrinfo, decltype(&freeaddrinfo)>;

// Null when the text is no IP address.
Addresses numericAddress(const std::string& address, int port) {
  addrinfo hints{};
  hints.ai_flags = AI_NUMERICHOST | AI_NUMERICSERV | AI_PASSIVE;
  hints.ai_socktype = SOCK_STREAM;
  addrinfo* found = nullptr;
  if (getaddrinfo(address.c_str(), std::to_string(port).c_str(), &hints, &found) != 0) {
    found = nullptr;
  }
  return {found, freeaddrinfo};
}

// Whether a process that has died left this socket behind.
bool isAbandoned(const sockaddr_un& address) {
  struct stat about {};
  if (lstat(address.sun_path, &about) != 0 || !S_ISSOCK(about.st_mode)) return false;
  const int caller = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
  const bool refused =
      connect(caller, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0 &&
      errno == ECONNREFUSED;
  close(caller);
  return refused;
}

}  // namespace

ListeningSocket::ListeningSocket(int family)
    : handle_(socket(family, SOCK_STREAM | SOCK_CLOEXEC, 0)) {}

ListeningSocket::~ListeningSocket() {
  if (handle_ >= 0) close(handle_);
}

int ListeningSocket::release() {
  const int handle = handle_;
  handle_ = -1;
  return handle;
}

ListeningSocket ListeningSocket::atAddress(const std::string& address, int port) {
  const std::string place = address + " port " + std::to_string(port);
  const Addresses found = numericAddress(address, port);
  if (!found) fail(place, "this is no IP address");
  ListeningSocket made(found->ai_family);
  // A service starts again on its port while connections of the last one linger.
  const int on = 1;
  // With a short backlog, connections of a burst would wait for retransmissions.
  if (made.handle_ < 0 || setsockopt(made.handle_, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on) != 0 ||
      bind(made.handle_, found->ai_addr, found->ai_addrlen) != 0 ||
      listen(made.handle_, SOMAXCONN) != 0) {
    fail(place, std::strerror(errno));
  }
  return made;
}

ListeningSocket ListeningSocket::atPath(const std::filesystem::path& path) {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  const std::string name = path.string();
  if (name.size() >= sizeof address.sun_path) fail(name, "the path is too long for a socket");
  std::memcpy(address.sun_path, name.c_str(), name.size());
  ListeningSocket made(AF_UNIX);
  // Before the name exists, so that nobody else can connect at any moment.
  if (made.handle_ < 0 || fchmod(made.handle_, 0600) != 0) fail(name, std::strerror(errno));
  const auto bound = [&] {
    return bind(made.handle_, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
  };
  if (!bound()) {
    const int reason = errno;
    if (reason != EADDRINUSE || !isAbandoned(address)) fail(name, std::strerror(reason));
    unlink(address.sun_path);
    if (!bound()) fail(name, std::strerror(errno));
  }
  if (listen(made.handle_, SOMAXCONN) != 0) fail(name, std::strerror(errno));
  return made;
}

int ListeningSocket::port() const {
  sockaddr_storage address{};
  socklen_t length = sizeof address;
  if (getsockname(handle_, reinterpret_cast<sockaddr*>(&address), &length) != 0) return 0;
  return ntohs(address.ss_family == AF_INET6
                   ? reinterpret_cast<const sockaddr_in6&>(address).sin6_port
                   : reinterpret_cast<const sockaddr_in&>(address).sin_port);
}

bool isIPAddress(const std::string& text) { return numericAddress(text, 0) != nullptr; }

bool isLoopback(const std::string& text) {
  const Addresses found = numericAddress(text, 0);
  if (!found) return false;
  if (found->ai_family == AF_INET6) {
    return IN6_IS_ADDR_LOOPBACK(&reinterpret_cast<const sockaddr_in6*>(found->ai_addr)->sin6_addr);
  }
  const auto bytes = reinterpret_cast<const sockaddr_in*>(found->ai_addr)->sin_addr.s_addr;
  return ntohl(bytes) >> 24 == IN_LOOPBACKNET;
}

}  // namespace orx::devserver
