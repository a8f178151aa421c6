#include "platform/http/curl/TransferBuffers.h"

#include <curl/curl.h>
#include <openssl/ssl.h>

namespace orx::platform {

void releaseConnectionBuffers(void* easy) {
  const curl_tlssessioninfo* session = nullptr;
  const CURLcode code = curl_easy_getinfo(easy, CURLINFO_TLS_SSL_PTR, &session);
  if (code != CURLE_OK || session == nullptr || session->backend != CURLSSLBACKEND_OPENSSL) return;
  if (session->internals != nullptr) SSL_free_buffers(static_cast<SSL*>(session->internals));
}

}  // namespace orx::platform
