#pragma once

#include <cstddef>
#include <map>
#include <string>
#include <vector>

#include "platform/http/curl/SocketEvents.h"

namespace orx::platform {

// The sockets of libcurl's connections, found again by the addresses of their two ends: libcurl
// says only those when it is about to send over a connection that it kept. Used by one thread.
class ConnectionSockets {
 public:
  // The two ends of a connection, in libcurl's words.
  struct Ends {
    // First what mostly differs.
    int localPort = 0;
    int peerPort = 0;
    std::string localAddress;
    std::string peerAddress;

    // No pointer is compared here. NOLINTNEXTLINE(modernize-use-nullptr)
    friend auto operator<=>(const Ends&, const Ends&) = default;
  };

  explicit ConnectionSockets(SocketEvents& events) : events_(events) {}

  // Opens one that programs started by the host do not inherit; -1 when the system refuses.
  int open(int family, int type, int protocol);
  void close(int descriptor);
  // How many are open.
  std::size_t count() const { return unnamed_.size() + named_.size(); }

  // True when the peer has closed its side, so that what is sent now is lost. Looking at the next
  // byte would not tell: TLS's goodbye stands before the end. False for an unknown connection.
  bool peerHasClosed(const Ends& ends);

  // In the child of a fork, whose connections these are not: lets go of them without a word.
  void closeAll();

 private:
  void nameTheUnnamed();

  SocketEvents& events_;
  std::map<Ends, int> named_;
  // Opened, and not yet asked for.
  std::vector<int> unnamed_;
};

}  // namespace orx::platform
