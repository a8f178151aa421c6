// SPDX-License-Identifier: MIT
// Of the shared library alone: libcurl is loaded by name when it is first needed. It brings 30
// libraries along, for which the dynamic linker takes most of the start of a process, and many a
// process makes no call. The rest of this folder calls libcurl and OpenSSL as if they were linked,
// and finds their functions here.
#include <curl/curl.h>
#include <openssl/ssl.h>
#include <openssl/x509v3.h>

#include <atomic>
#include <cstdarg>
#include <cstdint>
#include <memory>
#include <shared_mutex>
#include <string>

#include "platform/http/curl/LibCurl.h"
#include "platform/process/ForkSafety.h"
#include "platform/process/LoadedLibrary.h"

namespace {

// Newer versions of libcurl have const there.
template <typename Result, typename First, typename... Others>
First firstOf(Result (*)(First, Others...));
using URLToRead = decltype(firstOf(&curl_url_get));

using InfoCallback = void(const SSL* tls, int type, int value);

// Every function that is used, but those that take any number of arguments: what it returns, its
// name, its parameters, and the same as arguments.
// clang-format off
#define ORX_FUNCTIONS(X) \
  X(CURL*, curl_easy_init, (), ()) \
  X(void, curl_easy_cleanup, (CURL* curl), (curl)) \
  X(const char*, curl_easy_strerror, (CURLcode code), (code)) \
  X(void, curl_free, (void* text), (text)) \
  X(CURLcode, curl_global_init_mem, \
    (long flags, curl_malloc_callback m, curl_free_callback f, curl_realloc_callback r, \
     curl_strdup_callback s, curl_calloc_callback c), (flags, m, f, r, s, c)) \
  X(CURLMcode, curl_multi_add_handle, (CURLM* multi, CURL* curl), (multi, curl)) \
  X(CURLMsg*, curl_multi_info_read, (CURLM* multi, int* left), (multi, left)) \
  X(CURLM*, curl_multi_init, (), ()) \
  X(CURLMcode, curl_multi_remove_handle, (CURLM* multi, CURL* curl), (multi, curl)) \
  X(CURLMcode, curl_multi_socket_action, \
    (CURLM* multi, curl_socket_t socket, int bits, int* running), (multi, socket, bits, running)) \
  X(CURLSH*, curl_share_init, (), ()) \
  X(curl_slist*, curl_slist_append, (curl_slist* list, const char* line), (list, line)) \
  X(void, curl_slist_free_all, (curl_slist* list), (list)) \
  X(CURLU*, curl_url, (), ()) \
  X(void, curl_url_cleanup, (CURLU* url), (url)) \
  X(CURLUcode, curl_url_get, (URLToRead url, CURLUPart part, char** text, unsigned flags), \
    (url, part, text, flags)) \
  X(CURLUcode, curl_url_set, (CURLU* url, CURLUPart part, const char* text, unsigned flags), \
    (url, part, text, flags)) \
  X(curl_version_info_data*, curl_version_info, (CURLversion age), (age)) \
  X(int, CRYPTO_get_ex_new_index, \
    (int type, long number, void* pointer, CRYPTO_EX_new* make, CRYPTO_EX_dup* copy, \
     CRYPTO_EX_free* free), (type, number, pointer, make, copy, free)) \
  X(void, GENERAL_NAMES_free, (GENERAL_NAMES* names), (names)) \
  X(int, OPENSSL_sk_num, (const OPENSSL_STACK* stack), (stack)) \
  X(void*, OPENSSL_sk_value, (const OPENSSL_STACK* stack, int at), (stack, at)) \
  X(long, SSL_CTX_ctrl, (SSL_CTX* context, int command, long number, void* pointer), \
    (context, command, number, pointer)) \
  X(int, SSL_CTX_set_cipher_list, (SSL_CTX* context, const char* list), (context, list)) \
  X(void, SSL_CTX_set_info_callback, (SSL_CTX* context, InfoCallback* callback), \
    (context, callback)) \
  X(void, SSL_CTX_set_keylog_callback, (SSL_CTX* context, SSL_CTX_keylog_cb_func log), \
    (context, log)) \
  X(std::uint64_t, SSL_CTX_set_options, (SSL_CTX* context, std::uint64_t options), \
    (context, options)) \
  X(void, SSL_CTX_set_verify, (SSL_CTX* context, int mode, SSL_verify_cb verify), \
    (context, mode, verify)) \
  X(std::uint64_t, SSL_clear_options, (SSL* tls, std::uint64_t options), (tls, options)) \
  X(int, SSL_free_buffers, (SSL* tls), (tls)) \
  X(void*, SSL_get_ex_data, (const SSL* tls, int index), (tls, index)) \
  X(int, SSL_has_pending, (const SSL* tls), (tls)) \
  X(const char*, SSL_rstate_string, (const SSL* tls), (tls)) \
  X(int, SSL_set_ex_data, (SSL* tls, int index, void* data), (tls, index, data)) \
  X(std::uint64_t, SSL_set_options, (SSL* tls, std::uint64_t options), (tls, options)) \
  X(X509*, X509_STORE_CTX_get_current_cert, (const X509_STORE_CTX* check), (check)) \
  X(int, X509_STORE_CTX_get_error_depth, (const X509_STORE_CTX* check), (check)) \
  X(void, X509_STORE_CTX_set_error, (X509_STORE_CTX* check, int error), (check, error)) \
  X(void*, X509_get_ext_d2i, (const X509* certificate, int which, int* critical, int* at), \
    (certificate, which, critical, at))
// The last argument is of this type, or an integer of a pointer's size, which is passed alike.
#define ORX_FUNCTIONS_OF_ANY_ARGUMENT(X) \
  X(CURLcode, curl_easy_setopt, CURL*, CURLoption, void*) \
  X(CURLcode, curl_easy_getinfo, CURL*, CURLINFO, void*) \
  X(CURLMcode, curl_multi_setopt, CURLM*, CURLMoption, void*) \
  X(CURLSHcode, curl_share_setopt, CURLSH*, CURLSHoption, int)
// clang-format on
static_assert(sizeof(long) == sizeof(void*) && sizeof(curl_off_t) == sizeof(void*));

struct Libraries {
#define ORX_MEMBER(result, name, ...) decltype(&::name) name;
  ORX_FUNCTIONS(ORX_MEMBER) ORX_FUNCTIONS_OF_ANY_ARGUMENT(ORX_MEMBER)
#undef ORX_MEMBER
};

// Never unloaded, since threads run in them until the process has ended.
constinit std::atomic<const Libraries*> loaded{nullptr};

const Libraries& lib() { return *loaded.load(std::memory_order_acquire); }

}  // namespace

// OpenSSL is the one that this libcurl uses.
std::string orx::platform::unloadedLibcurl() {
  // A fork amid a load would leave the child half a library.
  const std::shared_lock lock(forkLocks.loading);
  LoadedLibrary libcurl("libcurl.so.4");
  auto libraries = std::make_unique<Libraries>();
#define ORX_FIND(result, name, ...) libcurl.find(libraries->name, #name);
  ORX_FUNCTIONS(ORX_FIND)
  ORX_FUNCTIONS_OF_ANY_ARGUMENT(ORX_FIND)
#undef ORX_FIND
  // Those of a thread that was faster stay.
  const Libraries* none = nullptr;
  if (libcurl.missing().empty() && loaded.compare_exchange_strong(none, libraries.get())) {
    (void)libraries.release();
  }
  return libcurl.missing();
}

// The last named parameter is an enumeration, which is passed as the integer that it is stored in.
// clang warns of enumerations that are not.
#if defined(__clang__)
#pragma clang diagnostic ignored "-Wvarargs"
#endif

// In parentheses, since some of the names are macros too.
extern "C" {
// Around types and lists there can be none. NOLINTBEGIN(bugprone-macro-parentheses)
#define ORX_FORWARD(result, name, parameters, arguments) \
  result(name) parameters { return (lib().name)arguments; }
ORX_FUNCTIONS(ORX_FORWARD)
#define ORX_FORWARD_ANY(result, name, handle, option, argument) \
  result(name)(handle first, option second, ...) {              \
    va_list rest;                                               \
    va_start(rest, second);                                     \
    argument third = va_arg(rest, argument);                    \
    va_end(rest);                                               \
    return (lib().name)(first, second, third);                  \
  }
// NOLINTEND(bugprone-macro-parentheses)
ORX_FUNCTIONS_OF_ANY_ARGUMENT(ORX_FORWARD_ANY)
}
