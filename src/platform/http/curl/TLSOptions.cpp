// SPDX-License-Identifier: MIT
#include "platform/http/curl/TLSOptions.h"

#include <openssl/x509v3.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>
#include <string_view>

#include "platform/base/Wiping.h"

namespace orx::platform {
namespace {

// Of TLS 1.2; those of TLS 1.3 are all of this kind.
constexpr const char* ciphers = "kEECDH:kEDH:!aNULL:!eNULL:!SHA1";

// libcurl reads a long.
constexpr long leastVersion = CURL_SSLVERSION_TLSv1_2;

// What a connection holds for watchForAnnouncedEnd(). libcurl may keep a connection, to say goodbye
// on it, for longer than whoever asked, so it owns the answer too.
using AnnouncedEnd = std::shared_ptr<bool>;

// Where OpenSSL keeps it; the place for an application's own data is libcurl's. Set once, before
// there is a connection.
int announcedEndIndex = -1;

// Called by OpenSSL at the end of each connection, the host's own too, which hold none.
void freeAnnouncedEnd(void*, void* announced, CRYPTO_EX_DATA*, int, long, void*) noexcept {
  delete static_cast<AnnouncedEnd*>(announced);
}

struct FreeNames {
  void operator()(GENERAL_NAMES* names) const { GENERAL_NAMES_free(names); }
};

// Without such a name libcurl would take the subject's common name for the host's, which the
// authority need not have looked at.
bool namesAHost(const X509* certificate) {
  const std::unique_ptr<GENERAL_NAMES, FreeNames> names(static_cast<GENERAL_NAMES*>(
      X509_get_ext_d2i(certificate, NID_subject_alt_name, nullptr, nullptr)));
  for (int at = 0; at < sk_GENERAL_NAME_num(names.get()); ++at) {
    const int type = sk_GENERAL_NAME_value(names.get(), at)->type;
    if (type == GEN_DNS || type == GEN_IPADD) return true;
  }
  return false;
}

// Called by OpenSSL for each certificate of the chain; 0 refuses it.
int acceptCertificate(int isFine, X509_STORE_CTX* verification) {
  const bool isTheHosts = X509_STORE_CTX_get_error_depth(verification) == 0;
  if (isFine == 0 || !isTheHosts) return isFine;
  if (namesAHost(X509_STORE_CTX_get_current_cert(verification))) return 1;
  X509_STORE_CTX_set_error(verification, X509_V_ERR_EMPTY_SUBJECT_ALT_NAME);
  return 0;
}

// Called by OpenSSL at each step of a connection, and for each alert.
void noteAnnouncedEnd(const SSL* connection, int step, int alert) noexcept {
  if (step != SSL_CB_READ_ALERT || (alert & 0xFF) != SSL_AD_CLOSE_NOTIFY) return;
  const void* announced = SSL_get_ex_data(connection, announcedEndIndex);
  if (announced != nullptr) **static_cast<const AnnouncedEnd*>(announced) = true;
}

// Called by libcurl once it has set up a connection's TLS.
CURLcode restrictContext(CURL*, void* context, void*) noexcept {
  auto* tls = static_cast<SSL_CTX*>(context);
  // libcurl would copy the list for each call, twice. Nothing but memory can be missing.
  if (SSL_CTX_set_cipher_list(tls, ciphers) == 0) return CURLE_OUT_OF_MEMORY;
  // The host may have initialised libcurl before, and then there is a key log.
  SSL_CTX_set_keylog_callback(tls, nullptr);
  SSL_CTX_set_verify(tls, SSL_VERIFY_PEER, &acceptCertificate);
  SSL_CTX_set_info_callback(tls, &noteAnnouncedEnd);
  // Else what was read last stays with a connection that is kept.
  SSL_CTX_set_options(tls, SSL_OP_CLEANSE_PLAINTEXT);
  // libcurl turns it on. Each answer would then cost two buffers of 16 KiB, made, wiped as a whole
  // and given back; releaseBuffersOf() does so where there are many.
  SSL_CTX_clear_mode(tls, SSL_MODE_RELEASE_BUFFERS);
  return CURLE_OK;
}

// The context is OpenSSL's own only where libcurl uses OpenSSL.
bool usesOpenSSL(CURL* curl) {
  const curl_tlssessioninfo* session = nullptr;
  return curl_easy_getinfo(curl, CURLINFO_TLS_SSL_PTR, &session) == CURLE_OK &&
         session != nullptr && session->backend == CURLSSLBACKEND_OPENSSL;
}

}  // namespace

void setTLSOptions(CURL* curl) {
  curl_easy_setopt(curl, CURLOPT_SSL_VERIFYPEER, 1L);
  curl_easy_setopt(curl, CURLOPT_SSL_VERIFYHOST, 2L);
  curl_easy_setopt(curl, CURLOPT_PROXY_SSL_VERIFYPEER, 1L);
  curl_easy_setopt(curl, CURLOPT_PROXY_SSL_VERIFYHOST, 2L);
  curl_easy_setopt(curl, CURLOPT_SSLVERSION, leastVersion);
  curl_easy_setopt(curl, CURLOPT_PROXY_SSLVERSION, leastVersion);
  if (usesOpenSSL(curl)) curl_easy_setopt(curl, CURLOPT_SSL_CTX_FUNCTION, &restrictContext);
}

SSL* tlsConnectionOf(CURL* curl) {
  const curl_tlssessioninfo* session = nullptr;
  const CURLcode code = curl_easy_getinfo(curl, CURLINFO_TLS_SSL_PTR, &session);
  const bool isOpenSSL =
      code == CURLE_OK && session != nullptr && session->backend == CURLSSLBACKEND_OPENSSL;
  return isOpenSSL ? static_cast<SSL*>(session->internals) : nullptr;
}

void releaseBuffersOf(SSL& connection) noexcept {
  // Of a record that is half there OpenSSL before 3.0.14 frees the buffer, and reads on into it.
  const bool waitsForRecord = std::string_view(SSL_rstate_string(&connection)) == "RH";
  if (!waitsForRecord || SSL_has_pending(&connection) != 0) return;
  // What was read is wiped already. With this option all 16 KiB would be.
  SSL_clear_options(&connection, SSL_OP_CLEANSE_PLAINTEXT);
  SSL_free_buffers(&connection);
  SSL_set_options(&connection, SSL_OP_CLEANSE_PLAINTEXT);
}

std::shared_ptr<const bool> watchForAnnouncedEnd(SSL& connection) noexcept {
  try {
    auto announced = std::make_unique<AnnouncedEnd>(std::make_shared<bool>(false));
    if (SSL_set_ex_data(&connection, announcedEndIndex, announced.get()) == 0) return nullptr;
    return *announced.release();
  } catch (const std::bad_alloc&) {
    return nullptr;
  }
}

// Taking the variable out of the environment would move the others while the host's threads read
// them. So an empty one stands in its place meanwhile, which libcurl passes over.
bool initialiseCurlWithoutKeyLog() {
  static char standIn[] = "SSLKEYLOGFILE=";
  char* hidden = nullptr;
  for (char** variable = environ; variable != nullptr && *variable != nullptr; ++variable) {
    if (!std::string_view(*variable).starts_with(standIn)) continue;
    hidden = *variable;
    *variable = standIn;
    break;
  }
  // Requests, answers and a proxy's password lie in what libcurl frees. Where the host has
  // initialised libcurl before, the host's choice stays. All of it is malloc's memory in any case,
  // so that either may free what the other has allocated.
  const bool isInitialised = curl_global_init_mem(CURL_GLOBAL_DEFAULT, std::malloc, freeWiping,
                                                  reallocWiping, strdup, std::calloc) == CURLE_OK;
  announcedEndIndex = SSL_get_ex_new_index(0, nullptr, nullptr, nullptr, &freeAnnouncedEnd);
  // Looked for anew, since the host may have changed other variables.
  for (char** variable = environ; hidden != nullptr && *variable != nullptr; ++variable) {
    if (*variable == standIn) *variable = hidden;
  }
  // OpenSSL that could not begin has no index to give, and would crash at the first connection.
  // Without the index, too, an end that nobody announced would count as announced.
  return isInitialised && announcedEndIndex >= 0;
}

}  // namespace orx::platform
