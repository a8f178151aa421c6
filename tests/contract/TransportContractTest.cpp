// SPDX-License-Identifier: MIT
// What callers of startTransfer() rely on, whatever library implements it.
#include <gmock/gmock.h>

#include "support/Call.h"
#include "support/TLSTestServer.h"

namespace orx::testing {

using namespace platform;
namespace {

using Answer = TLSTestServer::Answer;
using End = TLSTestServer::End;
using Request = TLSTestServer::Request;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Pair;

constexpr const char* host = "one.example";

TEST(TransportContract, GivesDataAndStatusOfACompleteReply) {
  TLSTestServer server({host}, Answer::reply(200, "picture", {{"X-One", "1"}, {"x-two", " 2 "}}));
  const Outcome outcome = call(server.configuration(), getRequest("https://one.example/a/b?c=d#e"));
  EXPECT_EQ(outcome.error, nullptr);
  EXPECT_EQ(outcome.text(), "picture");
  EXPECT_EQ(outcome.statusCode, 200);
  const auto requests = server.requests();
  ASSERT_EQ(requests.size(), 1U);
  EXPECT_EQ(requests[0].method, "GET");
  EXPECT_EQ(requests[0].target, "/a/b?c=d");
  EXPECT_EQ(requests[0].serverName, host);
}

TEST(TransportContract, TakesAnyStatusForAReply) {
  for (const int status : {199 + 5, 300, 304, 404, 500, 599}) {
    TLSTestServer server({host}, Answer::reply(status));
    const Outcome outcome = call(server.configuration(), getRequest("https://one.example/"));
    EXPECT_EQ(outcome.error, nullptr) << status;
    EXPECT_EQ(outcome.statusCode, status);
    ASSERT_TRUE(outcome.data.has_value());
    EXPECT_TRUE(outcome.data->empty());
  }
}

TEST(TransportContract, SendsTheContentTypeAndWhatHTTPNeeds) {
  TLSTestServer server({host}, Answer::reply(200));
  URLRequest request = postRequest("https://one.example/x", "<a>&</a>");
  request.contentType = "text/xml; charset=utf-8";
  EXPECT_EQ(call(server.configuration(), request).statusCode, 200);
  const auto requests = server.requests();
  ASSERT_EQ(requests.size(), 1U);
  EXPECT_EQ(requests[0].body, "<a>&</a>");
  EXPECT_THAT(requests[0].headerFields,
              ::testing::UnorderedElementsAre(Pair("Host", host), Pair("Content-Length", "8"),
                                              Pair("Content-Type", "text/xml; charset=utf-8")));
}

TEST(TransportContract, AddsNoContentTypeOfItsOwn) {
  TLSTestServer server({host}, Answer::reply(200));
  const URLRequest request{*URL::URLWithString("https://one.example/"), "", {}};
  EXPECT_EQ(call(server.configuration(), request).statusCode, 200);
  EXPECT_THAT(server.requests().at(0).headerFields,
              ::testing::UnorderedElementsAre(Pair("Host", host), Pair("Content-Length", "0")));
}

TEST(TransportContract, SendsALargeBodyWholeAndWithoutAskingFirst) {
  TLSTestServer server({host}, Answer::reply(200));
  std::string body(3'000'000, 'x');
  body.front() = '\0';
  EXPECT_EQ(call(server.configuration(), postRequest("https://one.example/", body)).statusCode,
            200);
  const auto requests = server.requests();
  ASSERT_EQ(requests.size(), 1U);
  EXPECT_TRUE(requests[0].body == body);
  EXPECT_FALSE(requests[0].header("Expect").has_value());
}

TEST(TransportContract, ReportsTheBytesSoFarWhenTheConnectionBreaksInTheBody) {
  const Answer whole = Answer::reply(200, "0123456789");
  for (const End end : {End::cut, End::close, End::reset}) {
    TLSTestServer server({host}, whole.cutAfter(whole.headSize() + 4, end));
    const Outcome outcome = call(server.configuration(), getRequest("https://one.example/"));
    EXPECT_EQ(outcome.errorCode(), NSURLErrorNetworkConnectionLost);
    EXPECT_EQ(outcome.statusCode, 200);
    // A reset may discard bytes that the client has not read yet.
    if (end != End::reset) {
      EXPECT_EQ(outcome.text(), "0123");
    }
    EXPECT_TRUE(outcome.data.has_value());
  }
}

TEST(TransportContract, ReportsTheErrorAloneWhenTheConnectionBreaksBeforeTheHeadersEnd) {
  const Answer whole = Answer::reply(200, "0123456789");
  for (const std::size_t count : {std::size_t{0}, std::size_t{9}, whole.headSize() - 1}) {
    for (const End end : {End::cut, End::close, End::reset}) {
      TLSTestServer server({host}, whole.cutAfter(count, end));
      const Outcome outcome = call(server.configuration(), getRequest("https://one.example/"));
      EXPECT_EQ(outcome.errorCode(), NSURLErrorNetworkConnectionLost) << count;
      EXPECT_EQ(outcome.statusCode, 0);
      EXPECT_FALSE(outcome.data.has_value());
    }
  }
}

TEST(TransportContract, TakesTheEndOfTheConnectionForTheEndOfABodyWithoutLength) {
  TLSTestServer server({host}, Answer{.bytes = "HTTP/1.1 200 OK\r\n\r\n0123", .end = End::close});
  const Outcome outcome = call(server.configuration(), getRequest("https://one.example/"));
  EXPECT_EQ(outcome.error, nullptr);
  EXPECT_EQ(outcome.text(), "0123");
}

// Anybody on the way can end a connection, but only the server can say that it has ended.
TEST(TransportContract, TakesNoCutForTheEndOfABodyWithoutLength) {
  for (const End end : {End::cut, End::reset}) {
    TLSTestServer server({host}, Answer{.bytes = "HTTP/1.1 200 OK\r\n\r\n0123", .end = end});
    const Outcome outcome = call(server.configuration(), getRequest("https://one.example/"));
    ASSERT_NE(outcome.error, nullptr);
    EXPECT_EQ(outcome.error->code(), NSURLErrorNetworkConnectionLost);
  }
}

TEST(TransportContract, TakesNoCutForTheEndOfABodyWhoseCodingHasNoEndEither) {
  const std::string bytes = "HTTP/1.1 200 OK\r\nTransfer-Encoding: identity\r\n\r\n0123";
  TLSTestServer closing({host}, Answer{.bytes = bytes, .end = End::close});
  EXPECT_EQ(call(closing.configuration(), getRequest("https://one.example/")).text(), "0123");
  TLSTestServer cutting({host}, Answer{.bytes = bytes, .end = End::cut});
  EXPECT_EQ(call(cutting.configuration(), getRequest("https://one.example/")).errorCode(),
            NSURLErrorNetworkConnectionLost);
}

TEST(TransportContract, TakesABodyOfItsLengthThoughTheConnectionIsCutAfterIt) {
  Answer answer = Answer::reply(200, "0123");
  answer.end = End::cut;
  TLSTestServer server({host}, answer);
  const Outcome outcome = call(server.configuration(), getRequest("https://one.example/"));
  EXPECT_EQ(outcome.error, nullptr);
  EXPECT_EQ(outcome.text(), "0123");
}

TEST(TransportContract, ReadsChunkedBodiesAndLeavesTrailersAside) {
  TLSTestServer server({host},
                       Answer{.bytes = "HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n"
                                       "3\r\nabc\r\n2\r\nde\r\n0\r\nX-Late: 1\r\n\r\n"});
  const Outcome outcome = call(server.configuration(), getRequest("https://one.example/"));
  EXPECT_EQ(outcome.error, nullptr);
  EXPECT_EQ(outcome.text(), "abcde");
}

TEST(TransportContract, TakesNoEndForThatOfABodyOfAnAbsurdLength) {
  for (const char* length :
       {"9223372036854775807", "9223372036854775808", "99999999999999999999"}) {
    for (const auto end : {TLSTestServer::End::close, TLSTestServer::End::cut}) {
      const TLSTestServer server(
          {host},
          Answer{.bytes = std::string("HTTP/1.1 200 OK\r\nContent-Length: ").append(length) +
                          "\r\n\r\nhalf",
                 .end = end});
      const Outcome outcome = call(server.configuration(), getRequest("https://one.example/"));
      EXPECT_EQ(outcome.errorCode(), NSURLErrorNetworkConnectionLost) << length;
      EXPECT_EQ(outcome.text(), "half") << length;
    }
  }
}

TEST(TransportContract, SkipsInterimReplies) {
  TLSTestServer server({host}, Answer{.bytes = "HTTP/1.1 103 Early\r\nX-Early: 1\r\n\r\n" +
                                               Answer::reply(201, "made").bytes});
  const Outcome outcome = call(server.configuration(), postRequest("https://one.example/", "b"));
  EXPECT_EQ(outcome.statusCode, 201);
  EXPECT_EQ(outcome.text(), "made");
}

TEST(TransportContract, RefusesAnAnswerThatIsNoHTTP) {
  TLSTestServer server({host}, Answer{.bytes = "SSH-2.0-server\r\n", .end = End::close});
  const Outcome outcome = call(server.configuration(), getRequest("https://one.example/"));
  EXPECT_EQ(outcome.errorCode(), NSURLErrorBadServerResponse);
  EXPECT_EQ(outcome.statusCode, 0);
}

TEST(TransportContract, NeverCallsTheHandlerInsideTheCallThatStartsIt) {
  TLSTestServer server({host}, Answer::reply(200));
  auto threads = std::make_shared<Mailbox<std::thread::id>>();
  const auto note = [threads](const auto&) { threads->put(std::this_thread::get_id()); };
  start(server.configuration(), getRequest("https://one.example/"), note);
  start(server.configuration(), getRequest("ftp://one.example/"), note);
  for (int i = 0; i < 2; ++i) EXPECT_NE(threads->take(), std::this_thread::get_id());
}

TEST(TransportContract, CallsTheHandlerOnce) {
  TLSTestServer server({host}, Answer::reply(200));
  auto outcomes = std::make_shared<Outcomes>();
  start(server.configuration(), getRequest("https://one.example/"), into(outcomes));
  EXPECT_EQ(outcomes->take().statusCode, 200);
  // Wait for a later transfer: a second outcome of the first one would have come by then.
  EXPECT_EQ(call(server.configuration(), getRequest("https://one.example/later")).statusCode, 200);
  EXPECT_EQ(outcomes->count(), 0U);
  EXPECT_EQ(server.requests().size(), 2U);
}

TEST(TransportContract, TakesNoHandler) {
  TLSTestServer server({host}, Answer::reply(200));
  start(server.configuration(), getRequest("https://one.example/"), {});
  EXPECT_EQ(server.awaitRequests(1).size(), 1U);
  EXPECT_EQ(call(server.configuration(), getRequest("https://one.example/")).statusCode, 200);
}

TEST(TransportContract, LetsGoOfAHandlerOnceItHasReported) {
  TLSTestServer server({host}, Answer::reply(200));
  auto unreachable = server.configuration();
  unreachable.setCaFile("/nowhere.pem");
  for (const auto& configuration : {server.configuration(), unreachable}) {
    auto held = std::make_shared<Event>();
    const std::weak_ptr<Event> watched = held;
    const auto reported = std::make_shared<Event>();
    start(configuration, getRequest("https://one.example/"),
          [held = std::move(held), reported](const auto&) { reported->set(); });
    EXPECT_TRUE(reported->wait());
    EXPECT_TRUE(eventually([&] { return watched.expired(); }));
  }
}

TEST(TransportContract, LetsAHandlerStartAndAwaitAnotherTransfer) {
  TLSTestServer server({host}, Answer::reply(200, "x"));
  const auto configuration = server.configuration();
  auto texts = std::make_shared<Mailbox<std::string>>();
  start(configuration, getRequest("https://one.example/"), [configuration, texts](const auto&) {
    texts->put(call(configuration, getRequest("https://one.example/2")).text());
  });
  EXPECT_EQ(texts->take(), "x");
}

}  // namespace
}  // namespace orx::testing
