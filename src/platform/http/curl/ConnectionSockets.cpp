#include "platform/http/curl/ConnectionSockets.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <new>

namespace orx::platform {
namespace {

using NameOf = int (*)(int, sockaddr*, socklen_t*);

// False while the socket is not connected.
bool readEnd(int descriptor, NameOf nameOf, std::string& address, int& port) {
  sockaddr_storage storage{};
  socklen_t size = sizeof storage;
  if (nameOf(descriptor, reinterpret_cast<sockaddr*>(&storage), &size) != 0) return false;
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

int ConnectionSockets::open(int family, int type, int protocol) {
  const int descriptor = socket(family, type | SOCK_CLOEXEC, protocol);
  if (descriptor < 0) return -1;
  try {
    events_.willStay(descriptor);
    unnamed_.push_back(descriptor);
    return descriptor;
  } catch (const std::bad_alloc&) {
    ::close(descriptor);
    return -1;
  }
}

void ConnectionSockets::close(int descriptor) {
  std::erase(unnamed_, descriptor);
  std::erase_if(named_, [descriptor](const auto& entry) { return entry.second == descriptor; });
  events_.willClose(descriptor);
  ::close(descriptor);
}

void ConnectionSockets::nameTheUnnamed() {
  std::erase_if(unnamed_, [this](int descriptor) {
    Ends ends;
    if (!readEnd(descriptor, getpeername, ends.peerAddress, ends.peerPort) ||
        !readEnd(descriptor, getsockname, ends.localAddress, ends.localPort)) {
      return false;
    }
    named_[ends] = descriptor;
    return true;
  });
}

bool ConnectionSockets::peerHasClosed(const Ends& ends) {
  auto found = named_.find(ends);
  if (found == named_.end()) {
    nameTheUnnamed();
    found = named_.find(ends);
    if (found == named_.end()) return false;
  }
  pollfd state{found->second, POLLIN | POLLRDHUP, 0};
  return poll(&state, 1, 0) > 0 && (state.revents & (POLLRDHUP | POLLHUP | POLLERR)) != 0;
}

void ConnectionSockets::closeAll() {
  for (const int descriptor : unnamed_) ::close(descriptor);
  for (const auto& [ends, descriptor] : named_) ::close(descriptor);
}

}  // namespace orx::platform
