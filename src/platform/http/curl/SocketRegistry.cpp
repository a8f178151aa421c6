#include "platform/http/curl/SocketRegistry.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <new>

namespace orx::platform {
namespace {

using AddressOf = int (*)(int, sockaddr*, socklen_t*);

// False while the socket is not connected.
bool readEndpoint(int descriptor, AddressOf addressOf, std::string& address, int& port) {
  sockaddr_storage storage{};
  socklen_t size = sizeof storage;
  if (addressOf(descriptor, reinterpret_cast<sockaddr*>(&storage), &size) != 0) return false;
  const void* bytes = nullptr;
  if (storage.ss_family == AF_INET) {
    const auto& v4 = reinterpret_cast<const sockaddr_in&>(storage);
    bytes = &v4.sin_addr;
    port = ntohs(v4.sin_port);
  } else if (storage.ss_family == AF_INET6) {
    const auto& v6 = reinterpret_cast<const sockaddr_in6&>(storage);
    bytes = &v6.sin6_addr;
    port = ntohs(v6.sin6_port);
  } else {
    return false;
  }
  std::array<char, INET6_ADDRSTRLEN> text{};
  address = inet_ntop(storage.ss_family, bytes, text.data(), text.size());
  return true;
}

}  // namespace

int SocketRegistry::open(int family, int type, int protocol) {
  const int descriptor = socket(family, type | SOCK_CLOEXEC, protocol);
  if (descriptor < 0) return -1;
  try {
    poller_.willStay(descriptor);
    unresolved_.push_back(descriptor);
    return descriptor;
  } catch (const std::bad_alloc&) {
    ::close(descriptor);
    return -1;
  }
}

void SocketRegistry::close(int descriptor) {
  std::erase(unresolved_, descriptor);
  std::erase_if(resolved_, [descriptor](const auto& entry) { return entry.second == descriptor; });
  poller_.willClose(descriptor);
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

bool SocketRegistry::peerHasClosed(const Endpoints& endpoints) {
  auto found = resolved_.find(endpoints);
  if (found == resolved_.end()) {
    resolveEndpoints();
    found = resolved_.find(endpoints);
    if (found == resolved_.end()) return false;
  }
  // Peeking at the next byte would not tell: TLS's own goodbye, unread, comes before the end.
  pollfd state{found->second, POLLIN | POLLRDHUP, 0};
  return poll(&state, 1, 0) > 0 && (state.revents & (POLLRDHUP | POLLHUP | POLLERR)) != 0;
}

void SocketRegistry::closeAll() {
  for (const int descriptor : unresolved_) ::close(descriptor);
  for (const auto& [endpoints, descriptor] : resolved_) ::close(descriptor);
}

}  // namespace orx::platform
