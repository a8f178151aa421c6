// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <map>
#include <string>
#include <vector>

#include "platform/http/curl/EpollPoller.h"

namespace orx::platform {

// The two ends of a connection. The ports stand first because they mostly differ, and members are
// compared in this order.
struct Endpoints {
  int localPort = 0;
  int peerPort = 0;
  std::string localAddress;
  std::string peerAddress;

  // No pointer is compared here. NOLINTNEXTLINE(modernize-use-nullptr)
  friend auto operator<=>(const Endpoints&, const Endpoints&) = default;
};

// The sockets of libcurl's connections, found again by their endpoints: libcurl says only those
// when it is about to send over a connection that it kept. Used by one thread at a time.
class SocketRegistry {
 public:
  explicit SocketRegistry(EpollPoller& poller) : poller_(poller) {}

  // Opens one that programs started by the host do not inherit; -1 when the system refuses.
  int open(int family, int type, int protocol);
  void close(int descriptor);
  // How many are open.
  std::size_t count() const { return unresolved_.size() + resolved_.size(); }

  // True when what is sent now is lost: the peer has closed its side, or the connection has broken
  // so far that the system does not know its peer any more.
  bool isDead(const Endpoints& endpoints);

  // In the child of a fork: closes the descriptors and says nothing to the peers, since the
  // connections go on in the parent.
  void closeAll();

 private:
  void resolveEndpoints();

  EpollPoller& poller_;
  std::map<Endpoints, int> resolved_;
  // Open sockets whose endpoints have not been read yet; there are none before it is connected.
  std::vector<int> unresolved_;
};

}  // namespace orx::platform
