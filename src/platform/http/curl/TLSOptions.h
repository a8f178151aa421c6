// SPDX-License-Identifier: MIT
#pragma once

#include <curl/curl.h>
#include <openssl/ssl.h>

#include <memory>

namespace orx::platform {

// What every TLS connection keeps to, to a server and to a proxy that is reached over TLS: TLS 1.2
// at least, keys that nobody can work out later from the server's own (forward secrecy), no CBC
// with SHA-1, a certificate that is verified and names its host as an alternative name. Nobody gets
// the keys: SSLKEYLOGFILE in the environment has no effect.
void setTLSOptions(CURL* curl);

// The TLS connection of the transfer that runs on the handle; null when there is none, and when
// libcurl uses another TLS library than OpenSSL.
SSL* tlsConnectionOf(CURL* curl);

// Gives back the memory in which the connection would read and write its next records; it takes it
// anew when they come. Does nothing while some are on their way.
void releaseBuffersOf(SSL& connection) noexcept;

// False, and true once the peer has said that it sends no more (close_notify), which nobody else on
// the way can say. Null where there is no memory to find out. Once for a connection.
std::shared_ptr<const bool> watchForAnnouncedEnd(SSL& connection) noexcept;

// curl_global_init(), which else makes the file that SSLKEYLOGFILE names, in a program with more
// rights than its user (set-user-ID) too. False when libcurl or OpenSSL lack memory; to be called
// again then.
bool initialiseCurlWithoutKeyLog();

}  // namespace orx::platform
