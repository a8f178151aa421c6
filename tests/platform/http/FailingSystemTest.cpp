// SPDX-License-Identifier: MIT
// What the system refuses ends at most the call that needs it, and that call at once.
#include <gmock/gmock.h>

#include <cerrno>
#include <optional>

#include "support/Call.h"
#include "support/FailingCalls.h"
#include "support/LoopbackListener.h"
#include "support/TLSTestServer.h"

namespace orx::testing {

using namespace platform;
namespace {

using Answer = TLSTestServer::Answer;
using End = TLSTestServer::End;
using Function = FailingCalls::Function;
using ::testing::HasSubstr;

const std::vector<std::string> hosts{"one.example", "two.example"};
const auto request = [] { return postRequest("https://one.example/", "b"); };

TEST(FailingSystem, EndsACallAtOnceWhoseSocketItDoesNotWatch) {
  TLSTestServer server(hosts, Answer::reply(200));
  EXPECT_EQ(call(server.configuration(), request()).statusCode, 200);
  int failures = 0;
  for (unsigned at = 1;; ++at) {
    server.dropConnections(End::cut);
    ASSERT_TRUE(eventually([&] { return server.openConnectionCount() == 0; }));
    std::optional<FailingCalls> failing(std::in_place, Function::epoll_ctl, ENOSPC, at, at);
    // Waiting for the time-out would take longer than this waits.
    const Outcome outcome = call(server.configuration(), request());
    const unsigned made = failing->count();
    failing.reset();  // the next call is to meet no failure
    if (outcome.error) {
      ++failures;
      EXPECT_EQ(outcome.errorCode(), NSURLErrorUnknown);
      EXPECT_THAT(outcome.error->localizedDescription(), HasSubstr("No space left on device"));
    }
    EXPECT_EQ(call(server.configuration(), request()).statusCode, 200);
    if (made < at) break;
  }
  EXPECT_GT(failures, 0);
}

// A host has several addresses, and what became of the last one would hide it.
TEST(FailingSystem, SaysThatThereWasNoSocketForOneOfTheAddresses) {
  std::uint16_t closed = 0;
  {
    const LoopbackListener listener;
    closed = listener.port();
  }
  const FailingCalls failing(Function::socket, EMFILE, 1, 1);
  const Outcome outcome = call({}, getRequest("https://localhost:" + std::to_string(closed) + "/"));
  ASSERT_TRUE(outcome.error);
  EXPECT_THAT(outcome.error->localizedDescription(), HasSubstr("Too many open files"));
}

TEST(FailingSystem, LetsNoSilentPeerHoldUpOthersWhereSocketsCannotBeSet) {
  TLSTestServer server(hosts, Answer::reply(200));
  const LoopbackListener mute;
  auto configuration = server.configuration();
  configuration.setConnectTo("two.example", {"127.0.0.1", mute.port()});
  const FailingCalls failing(Function::fcntl, ENOMEM, 1);
  const auto stuck = std::make_shared<Outcomes>();
  start(configuration, getRequest("https://two.example/"), into(stuck));
  ASSERT_TRUE(mute.awaitConnection());
  EXPECT_EQ(call(configuration, request()).statusCode, 200);
  EXPECT_GT(failing.count(), 0U);
  EXPECT_EQ(stuck->count(), 0U);
}

// A request that finds its kept connection broken goes over another one, however often.
TEST(FailingSystem, LetsEachCallReplaceABrokenConnectionHoweverManyDidBefore) {
  TLSTestServer server(hosts, Answer::reply(200));
  EXPECT_EQ(call(server.configuration(), request()).statusCode, 200);
  for (int i = 0; i < 10; ++i) {
    const FailingCalls failing(Function::send, ECONNRESET, 1, 1);
    EXPECT_EQ(call(server.configuration(), request()).statusCode, 200) << i;
  }
}

TEST(FailingSystem, SaysWhatBecameOfACallWhoseConnectionsAllBroke) {
  // Without any answer until all have asked, no call uses the connection of one before it: so many
  // calls leave as many connections.
  Event allHaveAsked;
  TLSTestServer server(hosts, [&](const auto&) {
    EXPECT_TRUE(allHaveAsked.wait());
    return Answer::reply(200);
  });
  constexpr int connections = 10;
  const auto outcomes = std::make_shared<Outcomes>();
  for (int i = 0; i < connections; ++i) start(server.configuration(), request(), into(outcomes));
  server.awaitRequests(connections);
  allHaveAsked.set();
  for (int i = 0; i < connections; ++i) outcomes->take();
  const FailingCalls failing(Function::send, ECONNRESET, 1);
  const Outcome outcome = call(server.configuration(), request());
  EXPECT_EQ(outcome.errorCode(), NSURLErrorNetworkConnectionLost);
  EXPECT_EQ(outcome.error->localizedDescription(),
            "got no answer from one.example: each connection was lost before the request could "
            "leave");
  EXPECT_EQ(server.requests().size(), connections);
}

}  // namespace
}  // namespace orx::testing
