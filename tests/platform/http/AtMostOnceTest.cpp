// SPDX-License-Identifier: MIT
// A request that may have been acted upon is never sent again; one that cannot have been is.
#include <gmock/gmock.h>

#include <atomic>
#include <map>

#include "support/Call.h"
#include "support/TLSTestServer.h"

namespace orx::testing {

using namespace platform;
namespace {

using Answer = TLSTestServer::Answer;
using End = TLSTestServer::End;
using HangUp = TLSTestServer::HangUp;
using Request = TLSTestServer::Request;

const std::vector<std::string> hosts{"one.example"};

// Requests to /fine are answered; all others meet with `answer`.
TLSTestServer::Handler fineThen(const Answer& answer) {
  return [answer](const Request& request) {
    return request.target == "/fine" ? Answer::reply(200) : answer;
  };
}

// On a connection that was used before: when it breaks, libcurl by itself sends the request again.
Outcome callOnKeptConnection(const TLSTestServer& server, URLRequest request) {
  EXPECT_EQ(call(server.configuration(), postRequest("https://one.example/fine", "x")).statusCode,
            200);
  return call(server.configuration(), std::move(request));
}

class AtMostOnce : public ::testing::TestWithParam<End> {
 protected:
  void expectOneConnectionLost(const TLSTestServer& server, const Outcome& outcome) {
    EXPECT_EQ(outcome.errorCode(), NSURLErrorNetworkConnectionLost);
    EXPECT_EQ(outcome.statusCode, 0);
    const auto requests = server.requests();
    ASSERT_EQ(requests.size(), 2U) << "the request must arrive once";
    EXPECT_EQ(requests[1].connection, 1U) << "the connection was to be a kept one";
  }
};

INSTANTIATE_TEST_SUITE_P(Ends, AtMostOnce, ::testing::Values(End::close, End::cut, End::reset),
                         [](const auto& instance) {
                           return std::string(instance.param == End::close ? "Close"
                                              : instance.param == End::cut ? "Cut"
                                                                           : "Reset");
                         });

TEST_P(AtMostOnce, WhenTheServerReadsThePostAndEnds) {
  TLSTestServer server(hosts, fineThen(Answer::hangUp(GetParam())));
  expectOneConnectionLost(
      server, callOnKeptConnection(server, postRequest("https://one.example/x", "register me")));
}

TEST_P(AtMostOnce, WhenTheServerEndsAfterThePostsHeader) {
  TLSTestServer server(hosts, fineThen(Answer::reply(200)), CertificateFault::none,
                       [](const Request& request) -> std::optional<HangUp> {
                         if (request.target == "/fine") return std::nullopt;
                         return HangUp{0, GetParam()};
                       });
  expectOneConnectionLost(
      server, callOnKeptConnection(server, postRequest("https://one.example/x", "register me")));
}

TEST_P(AtMostOnce, WhenTheServerEndsAfterThePostsFirstBodyByte) {
  TLSTestServer server(hosts, fineThen(Answer::reply(200)), CertificateFault::none,
                       [](const Request& request) -> std::optional<HangUp> {
                         if (request.target == "/fine") return std::nullopt;
                         return HangUp{1, GetParam()};
                       });
  for (const std::size_t size : {std::size_t{100}, std::size_t{1'000'000}}) {
    const Outcome outcome =
        callOnKeptConnection(server, postRequest("https://one.example/x", std::string(size, 'b')));
    EXPECT_EQ(outcome.errorCode(), NSURLErrorNetworkConnectionLost) << size;
  }
  EXPECT_EQ(server.requests().size(), 4U);
}

TEST_P(AtMostOnce, WhenTheServerReadsTheGetAndEnds) {
  TLSTestServer server(hosts, fineThen(Answer::hangUp(GetParam())));
  expectOneConnectionLost(server,
                          callOnKeptConnection(server, getRequest("https://one.example/x")));
}

TEST_P(AtMostOnce, WhenTheServerReadsTheGetThatARedirectLedTo) {
  TLSTestServer server(hosts, [](const Request& request) {
    return request.target == "/a" ? Answer::reply(302, "", {{"Location", "/b"}})
                                  : Answer::hangUp(GetParam());
  });
  expectOneConnectionLost(server,
                          call(server.configuration(), getRequest("https://one.example/a")));
}

// libcurl's own words for it are of a callback that nobody knows.
TEST(AtMostOnceError, SaysThatTheRequestIsNotSentASecondTime) {
  TLSTestServer server(hosts, fineThen(Answer::hangUp(End::close)));
  const Outcome outcome = callOnKeptConnection(server, getRequest("https://one.example/x"));
  ASSERT_NE(outcome.error, nullptr);
  EXPECT_THAT(outcome.error->localizedDescription(),
              ::testing::HasSubstr("it is not sent a second time"));
}

TEST_P(AtMostOnce, OnAFreshConnection) {
  TLSTestServer server(hosts, Answer::hangUp(GetParam()));
  const Outcome outcome = call(server.configuration(), postRequest("https://one.example/x", "b"));
  EXPECT_EQ(outcome.errorCode(), NSURLErrorNetworkConnectionLost);
  EXPECT_EQ(server.requests().size(), 1U);
}

// Otherwise the caller would read the error as that of a request that never left.
TEST_P(AtMostOnce, AndSaysThatTheConnectionWasLostWhenTheServerIsGoneAltogether) {
  TLSTestServer* place = nullptr;
  TLSTestServer server(hosts, [&place](const Request& request) {
    if (request.target == "/fine") return Answer::reply(200);
    place->refuseConnections();
    return Answer::hangUp(GetParam());
  });
  place = &server;
  expectOneConnectionLost(
      server, callOnKeptConnection(server, postRequest("https://one.example/x", "register me")));
}

TEST_P(AtMostOnce, YetReplacesAConnectionThatDiedWhileIdle) {
  TLSTestServer server(hosts, Answer::reply(200, "fine"));
  for (int round = 1; round <= 3; ++round) {
    for (auto& request :
         {postRequest("https://one.example/p", "x"), getRequest("https://one.example/g")}) {
      EXPECT_EQ(call(server.configuration(), request).text(), "fine");
    }
    server.dropConnections(GetParam());
    ASSERT_TRUE(eventually([&] { return server.openConnectionCount() == 0; }));
  }
  EXPECT_EQ(server.requests().size(), 6U);
  EXPECT_EQ(server.connectionCount(), 3U);
}

// Kept connections carry a thousand posts, and one of them dies in their midst.
TEST_P(AtMostOnce, WhenOneConnectionDiesUnderAThousandCalls) {
  constexpr int count = 1000;
  std::atomic<int> turn{0};
  TLSTestServer server(hosts, [&turn](const Request&) {
    return ++turn == count / 2 ? Answer::hangUp(GetParam()) : Answer::reply(200);
  });
  Mailbox<std::pair<int, Outcome>> outcomes;
  int started = 0;
  const auto startNext = [&] {
    start(server.configuration(),
          postRequest("https://one.example/" + std::to_string(started), "register me"),
          [&outcomes, number = started](const auto& outcome) {
            outcomes.put({number, {outcome}});
          });
    ++started;
  };
  while (started < 16) startNext();
  std::map<int, int> reports;
  int failures = 0;
  for (int i = 0; i < count; ++i) {
    const auto [number, outcome] = outcomes.take();
    ++reports[number];
    if (started < count) startNext();
    if (!outcome.error) continue;
    ++failures;
    EXPECT_EQ(outcome.errorCode(), NSURLErrorNetworkConnectionLost);
    EXPECT_THAT(outcome.error->localizedDescription(),
                ::testing::StartsWith("got no answer from one.example: "));
  }
  EXPECT_EQ(failures, 1);
  EXPECT_EQ(reports.size(), std::size_t{count});
  EXPECT_EQ(outcomes.count(), 0U);
  std::map<std::string, int> arrived;
  for (const auto& request : server.requests()) ++arrived[request.target];
  EXPECT_EQ(arrived.size(), std::size_t{count});
  EXPECT_THAT(arrived, ::testing::Each(::testing::Pair(::testing::_, 1)));
  // One more is in the place of the dead one, and one that libcurl made in order to send again.
  EXPECT_LE(server.connectionCount(), 18U);
}

TEST(AtMostOnceInBulk, HoldsForManyCallsAtATime) {
  constexpr int count = 60;
  std::atomic<int> turn{0};
  TLSTestServer server(hosts, [&turn](const Request&) {
    const int number = turn++;
    if (number % 3 == 0) return Answer::hangUp(End::cut);
    if (number % 3 == 1) return Answer::hangUp(End::reset);
    return Answer::reply(200);
  });
  const auto outcomes = std::make_shared<Outcomes>();
  for (int i = 0; i < count; ++i) {
    start(server.configuration(), postRequest("https://one.example/" + std::to_string(i), "b"),
          into(outcomes));
  }
  int replies = 0;
  for (int i = 0; i < count; ++i) {
    const Outcome outcome = outcomes->take();
    replies += outcome.statusCode == 200 ? 1 : 0;
    EXPECT_TRUE(outcome.statusCode == 200 ||
                outcome.errorCode() == NSURLErrorNetworkConnectionLost);
  }
  std::map<std::string, int> arrived;
  for (const auto& request : server.requests()) ++arrived[request.target];
  EXPECT_THAT(arrived, ::testing::Each(::testing::Pair(::testing::_, 1)));
  EXPECT_EQ(replies, count / 3);
}

}  // namespace
}  // namespace orx::testing
