#pragma once

#include <memory>

#include "devserver/CertificateAuthority.h"
#include "devserver/HTTPMessages.h"

namespace orx::devserver {

// HTTPS/1.1 on 127.0.0.1, a thread for each connection. The handler runs on the connections'
// threads, several at once; an exception out of it is answered with status 500.
class HTTPSServer {
 public:
  // Throws std::runtime_error when the certificate and its key do not serve TLS.
  HTTPSServer(const ServerCertificate& certificate, HTTPHandler handler);
  HTTPSServer(const HTTPSServer&) = delete;
  HTTPSServer& operator=(const HTTPSServer&) = delete;
  // Stops.
  ~HTTPSServer();

  // Port 0 lets the system choose; gives the port that is listened on. Throws std::runtime_error
  // when it cannot be had.
  int start(int port);
  // No new requests; answers under way get a second, then their connections end. Returns when every
  // thread has gone. Not from within the handler.
  void stop();

 private:
  class Implementation;
  std::unique_ptr<Implementation> implementation_;
};

}  // namespace orx::devserver
