// SPDX-License-Identifier: MIT
#pragma once

#include <memory>

#include "devserver/CertificateAuthority.h"
#include "devserver/HTTPMessages.h"
#include "devserver/ListeningSocket.h"

namespace orx::devserver {

// HTTPS/1.1, a thread for each connection. The handler runs on the connections'
// threads, several at once; an exception out of it is answered with status 500.
class HTTPSServer {
 public:
  // Throws std::runtime_error when TLS cannot use the certificate and its key.
  HTTPSServer(const ServerCertificate& certificate, HTTPHandler handler);
  HTTPSServer(const HTTPSServer&) = delete;
  HTTPSServer& operator=(const HTTPSServer&) = delete;
  // Stops.
  ~HTTPSServer();

  // Returns when it accepts.
  void serve(ListeningSocket socket);
  // Takes no new requests, gives running answers a second, then ends all connections. Returns when
  // every thread has ended. Must not be called by the handler, whose thread it would wait for.
  void stop();

 private:
  class Implementation;
  std::unique_ptr<Implementation> implementation_;
};

}  // namespace orx::devserver
