// SPDX-License-Identifier: MIT
#pragma once

#include <openssl/ssl.h>

#include "support/Await.h"
#include "support/TLSTestServer.h"

namespace orx::testing {

// The TLS handshakes that a server has finished, from this object's birth on. It must outlive the
// server's connections.
class Handshakes {
 public:
  explicit Handshakes(const TLSTestServer& server) {
    SSL_CTX_set_app_data(server.tls(), this);
    SSL_CTX_set_info_callback(server.tls(), [](const SSL* tls, int where, int) {
      if ((where & SSL_CB_HANDSHAKE_DONE) == 0) return;
      static_cast<Handshakes*>(SSL_CTX_get_app_data(SSL_get_SSL_CTX(tls)))->done_.put(1);
    });
  }
  Handshakes(const Handshakes&) = delete;
  Handshakes& operator=(const Handshakes&) = delete;

  // Waits for the next one.
  void await() { done_.take(); }

 private:
  Mailbox<int> done_;
};

}  // namespace orx::testing
