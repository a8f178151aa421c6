// SPDX-License-Identifier: MIT
#include "platform/http/curl/SocketRegistry.h"

#include <netdb.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdlib>
#include <new>

namespace orx::platform {
namespace {

using AddressOf = int (*)(int, sockaddr*, socklen_t*);

// False while the socket is not connected.
bool readEndpoint(int descriptor, AddressOf addressOf, std::string& address, int& port) {
  sockaddr_storage storage{};
  auto* plain = reinterpret_cast<sockaddr*>(&storage);
  socklen_t size = sizeof storage;
  std::array<char, NI_MAXHOST> host{};
  std::array<char, NI_MAXSERV> service{};
  if (addressOf(descriptor, plain, &size) != 0 ||
      getnameinfo(plain, size, host.data(), host.size(), service.data(), service.size(),
                  NI_NUMERICHOST | NI_NUMERICSERV) != 0) {
    return false;
  }
  address = host.data();
  // libcurl names an IPv6 address without its zone.
  address.resize(std::min(address.find('%'), address.size()));
  port = std::atoi(service.data());
  return true;
}

}  // namespace

int SocketRegistry::open(int family, int type, int protocol) {
  // libcurl asks for no blocking as well, and goes on when the system refuses it: a silent peer
  // would then hold up all transfers.
  const int descriptor = socket(family, type | SOCK_CLOEXEC | SOCK_NONBLOCK, protocol);
  if (descriptor < 0) return -1;
  try {
    poller_.registerSocket(descriptor);
    unresolved_.push_back(descriptor);
    return descriptor;
  } catch (const std::bad_alloc&) {
    ::close(descriptor);
    errno = ENOMEM;
    return -1;
  }
}

void SocketRegistry::close(int descriptor) {
  std::erase(unresolved_, descriptor);
  std::erase_if(resolved_, [descriptor](const auto& entry) { return entry.second == descriptor; });
  poller_.unregisterSocket(descriptor);
  ::close(descriptor);
}

void SocketRegistry::resolveEndpoints() {
  std::erase_if(unresolved_, [this](int descriptor) {
    Endpoints endpoints;
    if (!readEndpoint(descriptor, getpeername, endpoints.peerAddress, endpoints.peerPort) ||
        !readEndpoint(descriptor, getsockname, endpoints.localAddress, endpoints.localPort)) {
      return false;
    }
    resolved_[endpoints] = descriptor;
    return true;
  });
}

bool SocketRegistry::isDead(const Endpoints& endpoints) {
  auto found = resolved_.find(endpoints);
  // A connection is asked for only when it is used a second time, so its endpoints are read then:
  // many connections serve one transfer and are never asked for.
  if (found == resolved_.end()) {
    resolveEndpoints();
    found = resolved_.find(endpoints);
    if (found == resolved_.end()) return true;
  }
  if (poller_.isQuiet(found->second)) return false;
  // MSG_PEEK cannot tell: an unread close_notify precedes the FIN.
  pollfd state{found->second, POLLIN | POLLRDHUP, 0};
  const int ready = poll(&state, 1, 0);
  constexpr int ends = POLLRDHUP | POLLHUP | POLLERR | POLLNVAL;
  return ready < 0 || (ready > 0 && (state.revents & ends) != 0);
}

void SocketRegistry::closeAll() {
  for (const int descriptor : unresolved_) ::close(descriptor);
  for (const auto& [endpoints, descriptor] : resolved_) ::close(descriptor);
}

}  // namespace orx::platform
