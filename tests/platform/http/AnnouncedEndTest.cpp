// SPDX-License-Identifier: MIT
// Newer versions of libcurl keep a connection for a while to say goodbye on it, after its transfer
// has ended. The tests keep it in the same way.
#include <dlfcn.h>
#include <gtest/gtest.h>
#include <openssl/ssl.h>

#include <atomic>
#include <string>

#include "support/Call.h"
#include "support/TLSTestServer.h"

namespace orx::testing {
namespace {

enum class Then { free, keep, sayGoodbyeOnTheKept };
std::atomic<Then> then = Then::free;
std::atomic<SSL*> kept = nullptr;

}  // namespace
}  // namespace orx::testing

// The calls of the library's libcurl come here first.
extern "C" [[gnu::visibility("default")]] void SSL_free(SSL* tls) {
  using namespace orx::testing;
  static const auto next = reinterpret_cast<void (*)(SSL*)>(dlsym(RTLD_NEXT, "SSL_free"));
  if (tls == nullptr || SSL_is_server(tls) != 0) return next(tls);
  if (then == Then::keep) {
    // libcurl's, and gone with what it keeps beside the connection.
    SSL_set_bio(tls, nullptr, nullptr);
    kept = tls;
    return;
  }
  if (then == Then::sayGoodbyeOnTheKept) {
    const auto tell = SSL_CTX_get_info_callback(SSL_get_SSL_CTX(kept));
    tell(kept, SSL_CB_READ_ALERT, SSL_AD_CLOSE_NOTIFY);
  }
  next(tls);
}

namespace orx::testing {
namespace {

TEST(AnnouncedEnd, OfAnEarlierConnectionDoesNotMakeACutBodyWhole) {
  TLSTestServer server({"one.example"}, [](const TLSTestServer::Request& request) {
    const std::string body = request.target == "/long" ? "0123456789" : "0123";
    return TLSTestServer::Answer{.bytes = "HTTP/1.1 200 OK\r\n\r\n" + body,
                                 .end = TLSTestServer::End::cut};
  });
  auto configuration = server.configuration();
  configuration.setMaximumBodySize(5);
  then = Then::keep;
  call(configuration, getRequest("https://one.example/long"));
  ASSERT_NE(kept, nullptr);
  then = Then::sayGoodbyeOnTheKept;
  const Outcome outcome = call(configuration, getRequest("https://one.example/"));
  then = Then::free;
  SSL_free(kept.exchange(nullptr));
  EXPECT_EQ(outcome.text(), "0123");
  EXPECT_EQ(outcome.errorCode(), NSURLErrorNetworkConnectionLost);
}

}  // namespace
}  // namespace orx::testing
