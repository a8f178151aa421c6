// SPDX-License-Identifier: MIT
// A connection that is made ready before anybody needs it.
#include <gtest/gtest.h>

#include "support/Call.h"
#include "support/ConnectProxy.h"
#include "support/Handshakes.h"
#include "support/Relay.h"
#include "support/TLSTestServer.h"

namespace orx::testing {

using namespace platform;
namespace {

using Answer = TLSTestServer::Answer;
using End = TLSTestServer::End;

constexpr const char* host = "one.example";
constexpr const char* url = "https://one.example/";

void prepare(const URLSessionConfiguration& configuration) {
  prepareConnection(*URL::URLWithString(url), configuration);
}

class PreparedConnection : public ::testing::Test {
 protected:
  // Session tickets would come between a connection's bytes at any moment, and be counted.
  PreparedConnection() { SSL_CTX_set_num_tickets(server_.tls(), 0); }

  // Makes a connection ready and waits until it is.
  void prepareAndWait(const URLSessionConfiguration& configuration) {
    prepare(configuration);
    handshakes_.await();
  }

  TLSTestServer server_{{host}, Answer::reply(200, "fine")};
  Handshakes handshakes_{server_};
};

TEST_F(PreparedConnection, SendsNoRequestAndServesTheNextCall) {
  prepareAndWait(server_.configuration());
  EXPECT_EQ(call(server_.configuration(), postRequest(url, "x")).text(), "fine");
  EXPECT_EQ(server_.connectionCount(), 1U);
  ASSERT_EQ(server_.requests().size(), 1U);
  EXPECT_EQ(server_.requests()[0].method, "POST");
}

TEST_F(PreparedConnection, LeavesACallTheRoundTripOfItsAnswer) {
  const Relay relay(server_.port());
  auto configuration = server_.configuration();
  configuration.setConnectTo(host, {"127.0.0.1", relay.port()});
  // TCP, TLS, and the answer.
  EXPECT_EQ(call(configuration, postRequest(url, "x")).text(), "fine");
  EXPECT_EQ(relay.roundTripCount(), 3U);
  handshakes_.await();

  server_.dropConnections(End::close);
  ASSERT_TRUE(eventually([&] { return server_.openConnectionCount() == 0; }));
  prepareAndWait(configuration);
  const auto before = relay.roundTripCount();
  EXPECT_EQ(call(configuration, postRequest(url, "x")).text(), "fine");
  EXPECT_EQ(relay.roundTripCount(), before + 1);
}

TEST_F(PreparedConnection, IsMadeOnceHoweverOftenItIsAskedFor) {
  for (int i = 0; i < 5; ++i) prepare(server_.configuration());
  handshakes_.await();
  for (int i = 0; i < 5; ++i) prepare(server_.configuration());
  EXPECT_EQ(call(server_.configuration(), getRequest(url)).text(), "fine");
  EXPECT_EQ(server_.connectionCount(), 1U);
  prepare(server_.configuration());
  EXPECT_EQ(call(server_.configuration(), getRequest(url)).text(), "fine");
  EXPECT_EQ(server_.connectionCount(), 1U);
}

TEST_F(PreparedConnection, ThatDiedChangesNothing) {
  for (const End end : {End::close, End::cut, End::reset}) {
    prepareAndWait(server_.configuration());
    server_.dropConnections(end);
    ASSERT_TRUE(eventually([&] { return server_.openConnectionCount() == 0; }));
    const Outcome outcome = call(server_.configuration(), postRequest(url, "x"));
    EXPECT_EQ(outcome.text(), "fine") << outcome.errorCode();
    handshakes_.await();
    server_.dropConnections(End::close);
    ASSERT_TRUE(eventually([&] { return server_.openConnectionCount() == 0; }));
  }
  EXPECT_EQ(server_.requests().size(), 3U);
  EXPECT_EQ(server_.connectionCount(), 6U);
}

TEST_F(PreparedConnection, GoesThroughTheProxyAsACallDoes) {
  const ConnectProxy proxy(server_.port());
  URLSessionConfiguration configuration;
  configuration.setCaFile(server_.caFile());
  configuration.setProxy(proxy.url());
  prepareAndWait(configuration);
  EXPECT_EQ(call(configuration, getRequest(url)).text(), "fine");
  EXPECT_EQ(proxy.tunnelCount(), 1U);
}

TEST_F(PreparedConnection, ThatCannotBeMadeIsReportedByTheCall) {
  auto configuration = server_.configuration();
  configuration.setCaFile("/nonexistent");
  prepare(configuration);
  EXPECT_NE(call(configuration, getRequest(url)).errorCode(), 0);
  // Nor does it hold up those that can be made.
  prepareAndWait(server_.configuration());
  EXPECT_EQ(call(server_.configuration(), getRequest(url)).text(), "fine");
}

// The handle that made the connection ready serves a call next, which sends its request.
TEST_F(PreparedConnection, LeavesNothingBehindInTheNextTransfers) {
  for (int i = 0; i < 3; ++i) {
    prepare(server_.configuration());
    EXPECT_EQ(call(server_.configuration(), postRequest(url, "x")).text(), "fine");
  }
  EXPECT_EQ(server_.requests().size(), 3U);
}

}  // namespace
}  // namespace orx::testing
