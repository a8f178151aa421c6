// SPDX-License-Identifier: MIT
// Memory of a TLS connection is given back only where nothing is read into it.
#include <dlfcn.h>
#include <gtest/gtest.h>
#include <openssl/ssl.h>

#include <atomic>
#include <cerrno>
#include <climits>
#include <string_view>

#include "support/Call.h"
#include "support/FailingCalls.h"
#include "support/TLSTestServer.h"

namespace orx::testing {
namespace {

std::atomic<int> releases = 0;
std::atomic<int> releasesAmidRecords = 0;
std::atomic<long> mode = 0;  // of the connection that was asked for its memory last

}  // namespace
}  // namespace orx::testing

// The library's calls come here first.
extern "C" int SSL_free_buffers(SSL* tls) {
  using namespace orx::testing;
  static const auto next = reinterpret_cast<int (*)(SSL*)>(dlsym(RTLD_NEXT, "SSL_free_buffers"));
  mode = SSL_get_mode(tls);
  const bool isAmidRecord =
      SSL_has_pending(tls) != 0 || std::string_view(SSL_rstate_string(tls)) != "RH";
  ++(isAmidRecord ? releasesAmidRecords : releases);
  // Releases before 3.0.14 must not be asked to do it.
  return isAmidRecord ? 0 : next(tls);
}

namespace orx::testing {
namespace {

// Else each answer costs 16 KiB that are made, wiped and given back.
TEST(TLSBuffers, StayBetweenCallsOfWhichFewRunAtOnce) {
  TLSTestServer server({"one.example"}, TLSTestServer::Answer::reply(200, "fine"));
  EXPECT_EQ(call(server.configuration(), getRequest("https://one.example/")).text(), "fine");
  ASSERT_GT(releases, 0);
  EXPECT_EQ(mode & SSL_MODE_RELEASE_BUFFERS, 0);
  releases = 0;
  EXPECT_EQ(call(server.configuration(), getRequest("https://one.example/")).text(), "fine");
  EXPECT_EQ(releases, 0);
}

TEST(TLSBuffers, AreNotGivenBackWhileARecordIsHalfRead) {
  TLSTestServer server({"one.example"}, TLSTestServer::Answer::reply(200, "fine"));
  // A record's header and its body are read by two calls: between them nothing has come.
  const FailingCalls failing(FailingCalls::Function::recv, EAGAIN, 2, UINT_MAX, 2);
  EXPECT_EQ(call(server.configuration(), getRequest("https://one.example/")).text(), "fine");
  EXPECT_GT(releases, 0);
  EXPECT_EQ(releasesAmidRecords, 0);
}

}  // namespace
}  // namespace orx::testing
