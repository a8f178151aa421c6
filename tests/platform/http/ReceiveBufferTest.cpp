// SPDX-License-Identifier: MIT
// What an answer is read into has room for what is read.
#include <gtest/gtest.h>

#include "support/Call.h"
#include "support/TLSTestServer.h"

namespace orx::testing {

using namespace platform;
namespace {

using Answer = TLSTestServer::Answer;

// libcurl keeps the buffer of a transfer that ends before it has a connection, and the next one,
// which is configured in another way, reads into the same.
TEST(ReceiveBuffer, HoldsALongAnswerAfterAFailureAndAnotherConfiguration) {
  const std::string text(200'000, 'x');
  TLSTestServer server({"one.example"}, [&](const auto&) { return Answer::reply(200, text); });
  for (int round = 0; round < 20; ++round) {
    auto unusable = URLSessionConfiguration::defaultConfiguration();
    unusable.setProxy("http://[");
    EXPECT_NE(call(unusable, getRequest("https://one.example/")).errorCode(), 0);
    unusable.setProxy("");
    unusable.setConnectTo("one.example", {"nowhere.invalid", 1});
    EXPECT_NE(call(unusable, getRequest("https://one.example/")).errorCode(), 0);
    const auto configuration = server.configurationFor({"one.example"});
    EXPECT_EQ(call(configuration, getRequest("https://one.example/")).text(), text);
  }
}

}  // namespace
}  // namespace orx::testing
