// SPDX-License-Identifier: MIT
// HTTP/2 is not spoken: see docs/decisions.md.
#include <gmock/gmock.h>

#include "support/Call.h"
#include "support/NginxServer.h"
#include "support/TLSTestServer.h"

namespace orx::testing {

using namespace platform;
namespace {

TEST(HTTP2, IsNotSpokenToAServerThatOffersIt) {
  const NginxServer server({.hosts = {"one.example"},
                            .answer = "fine",
                            .offersHTTP2 = true,
                            .extra = "access_log access.log connections;"});
  EXPECT_EQ(call(server.configuration(), getRequest("https://one.example/")).text(), "fine");
  ASSERT_TRUE(eventually([&] { return server.accessLog().size() == 1; }));
  EXPECT_THAT(server.accessLog().front(), ::testing::HasSubstr(" HTTP/1.1 200"));
}

TEST(HTTP2, IsNotOfferedInTheHandshake) {
  TLSTestServer server({"one.example"}, TLSTestServer::Answer::reply(200));
  EXPECT_EQ(call(server.configuration(), getRequest("https://one.example/")).statusCode, 200);
  EXPECT_THAT(server.offeredProtocols(), ::testing::ElementsAre("http/1.1"));
}

}  // namespace
}  // namespace orx::testing
