// What callers of a session rely on, whatever session it is: one of its own or the shared one, with
// HTTP/2 asked for or not.
#include <gmock/gmock.h>

#include "platform/http/URLSession.h"
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

enum class Kind { own, ownHTTP2, shared };

class URLSessionContract : public ::testing::TestWithParam<Kind> {
 protected:
  std::shared_ptr<URLSession> session(const TLSTestServer& server) const {
    return session(server.configuration());
  }
  std::shared_ptr<URLSession> session(URLSessionConfiguration configuration) const {
    if (GetParam() == Kind::shared) {
      URLSessionConfiguration::setDefaultConfiguration(std::move(configuration));
      return URLSession::sharedSession();
    }
    configuration.usesHTTP2 = GetParam() == Kind::ownHTTP2;
    return URLSession::sessionWithConfiguration(std::move(configuration));
  }
};

INSTANTIATE_TEST_SUITE_P(Sessions, URLSessionContract,
                         ::testing::Values(Kind::own, Kind::ownHTTP2, Kind::shared),
                         [](const auto& instance) {
                           return std::string(instance.param == Kind::own        ? "Own"
                                              : instance.param == Kind::ownHTTP2 ? "OwnHTTP2"
                                                                                 : "Shared");
                         });

TEST_P(URLSessionContract, GivesDataAndResponseOfACompleteReply) {
  TLSTestServer server({host}, Answer::reply(200, "picture", {{"X-One", "1"}, {"x-two", " 2 "}}));
  const Outcome outcome = call(*session(server), getRequest("https://one.example/a/b?c=d#e"));
  EXPECT_EQ(outcome.error, nullptr);
  EXPECT_EQ(outcome.text(), "picture");
  ASSERT_NE(outcome.response, nullptr);
  EXPECT_EQ(outcome.response->statusCode(), 200);
  EXPECT_EQ(outcome.response->url(), "https://one.example/a/b?c=d#e");
  EXPECT_THAT(outcome.response->headerFields(),
              ElementsAre(Pair("X-One", "1"), Pair("x-two", "2"), Pair("Content-Length", "7")));
  const auto requests = server.requests();
  ASSERT_EQ(requests.size(), 1U);
  EXPECT_EQ(requests[0].method, "GET");
  EXPECT_EQ(requests[0].target, "/a/b?c=d");
  EXPECT_EQ(requests[0].serverName, host);
}

TEST_P(URLSessionContract, TakesAnyStatusForAReply) {
  for (const int status : {199 + 5, 300, 304, 404, 500, 599}) {
    TLSTestServer server({host}, Answer::reply(status));
    const Outcome outcome = call(*session(server), getRequest("https://one.example/"));
    EXPECT_EQ(outcome.error, nullptr) << status;
    EXPECT_EQ(outcome.status(), status);
    ASSERT_TRUE(outcome.data.has_value());
    EXPECT_TRUE(outcome.data->empty());
  }
}

TEST_P(URLSessionContract, SendsTheHeadersOfTheRequestAndWhatHTTPNeeds) {
  TLSTestServer server({host}, Answer::reply(200));
  URLRequest request = postRequest("https://one.example/x", "<a>&</a>");
  request.headerFields =
      sharedFields({{"Content-Type", "text/xml; charset=utf-8"}, {"X-Empty", ""}});
  EXPECT_EQ(call(*session(server), request).status(), 200);
  const auto requests = server.requests();
  ASSERT_EQ(requests.size(), 1U);
  EXPECT_EQ(requests[0].body, "<a>&</a>");
  EXPECT_THAT(requests[0].headerFields,
              ::testing::UnorderedElementsAre(Pair("Host", host), Pair("Content-Length", "8"),
                                              Pair("Content-Type", "text/xml; charset=utf-8"),
                                              Pair("X-Empty", "")));
}

TEST_P(URLSessionContract, AddsNoContentTypeOfItsOwn) {
  TLSTestServer server({host}, Answer::reply(200));
  const URLRequest request{*URL::URLWithString("https://one.example/"), "POST", {}, std::nullopt};
  EXPECT_EQ(call(*session(server), request).status(), 200);
  EXPECT_THAT(server.requests().at(0).headerFields,
              ::testing::UnorderedElementsAre(Pair("Host", host), Pair("Content-Length", "0")));
}

TEST_P(URLSessionContract, SendsALargeBodyWholeAndWithoutAskingFirst) {
  TLSTestServer server({host}, Answer::reply(200));
  std::string body(3'000'000, 'x');
  body.front() = '\0';
  EXPECT_EQ(call(*session(server), postRequest("https://one.example/", body)).status(), 200);
  const auto requests = server.requests();
  ASSERT_EQ(requests.size(), 1U);
  EXPECT_TRUE(requests[0].body == body);
  EXPECT_FALSE(requests[0].header("Expect").has_value());
}

TEST_P(URLSessionContract, ReportsTheBytesSoFarWhenTheConnectionBreaksInTheBody) {
  const Answer whole = Answer::reply(200, "0123456789");
  for (const End end : {End::cut, End::close, End::reset}) {
    TLSTestServer server({host}, whole.cutAfter(whole.headSize() + 4, end));
    const Outcome outcome = call(*session(server), getRequest("https://one.example/"));
    EXPECT_EQ(outcome.errorCode(), NSURLErrorNetworkConnectionLost);
    EXPECT_EQ(outcome.status(), 200);
    // A reset may overtake the bytes before it.
    if (end != End::reset) {
      EXPECT_EQ(outcome.text(), "0123");
    }
    EXPECT_TRUE(outcome.data.has_value());
  }
}

TEST_P(URLSessionContract, ReportsTheErrorAloneWhenTheConnectionBreaksBeforeTheHeadersEnd) {
  const Answer whole = Answer::reply(200, "0123456789");
  for (const std::size_t count : {std::size_t{0}, std::size_t{9}, whole.headSize() - 1}) {
    for (const End end : {End::cut, End::close, End::reset}) {
      TLSTestServer server({host}, whole.cutAfter(count, end));
      const Outcome outcome = call(*session(server), getRequest("https://one.example/"));
      EXPECT_EQ(outcome.errorCode(), NSURLErrorNetworkConnectionLost) << count;
      EXPECT_EQ(outcome.response, nullptr);
      EXPECT_FALSE(outcome.data.has_value());
    }
  }
}

// Many servers end such a body without TLS's goodbye, so its absence says nothing.
TEST_P(URLSessionContract, TakesTheEndOfTheConnectionForTheEndOfABodyWithoutLength) {
  for (const End end : {End::cut, End::close}) {
    TLSTestServer server({host}, Answer{.bytes = "HTTP/1.1 200 OK\r\n\r\n0123", .end = end});
    const Outcome outcome = call(*session(server), getRequest("https://one.example/"));
    EXPECT_EQ(outcome.error, nullptr);
    EXPECT_EQ(outcome.text(), "0123");
  }
}

TEST_P(URLSessionContract, ReadsChunkedBodiesAndLeavesTrailersAside) {
  TLSTestServer server({host},
                       Answer{.bytes = "HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n"
                                       "3\r\nabc\r\n2\r\nde\r\n0\r\nX-Late: 1\r\n\r\n"});
  const Outcome outcome = call(*session(server), getRequest("https://one.example/"));
  EXPECT_EQ(outcome.error, nullptr);
  EXPECT_EQ(outcome.text(), "abcde");
  EXPECT_THAT(outcome.response->headerFields(), ElementsAre(Pair("Transfer-Encoding", "chunked")));
}

TEST_P(URLSessionContract, SkipsInterimReplies) {
  TLSTestServer server({host}, Answer{.bytes = "HTTP/1.1 103 Early\r\nX-Early: 1\r\n\r\n" +
                                               Answer::reply(201, "made").bytes});
  const Outcome outcome = call(*session(server), postRequest("https://one.example/", "b"));
  EXPECT_EQ(outcome.status(), 201);
  EXPECT_EQ(outcome.text(), "made");
  EXPECT_THAT(outcome.response->headerFields(), ElementsAre(Pair("Content-Length", "4")));
}

TEST_P(URLSessionContract, RefusesAnAnswerThatIsNoHTTP) {
  TLSTestServer server({host}, Answer{.bytes = "SSH-2.0-server\r\n", .end = End::close});
  const Outcome outcome = call(*session(server), getRequest("https://one.example/"));
  EXPECT_EQ(outcome.errorCode(), NSURLErrorBadServerResponse);
  EXPECT_EQ(outcome.response, nullptr);
}

TEST_P(URLSessionContract, NeverCallsTheHandlerInsideResume) {
  TLSTestServer server({host}, Answer::reply(200));
  const auto made = session(server);
  auto threads = std::make_shared<Mailbox<std::thread::id>>();
  const auto note = [threads](const auto&, const auto&, const auto&) {
    threads->put(std::this_thread::get_id());
  };
  made->dataTaskWithRequest_completionHandler(getRequest("https://one.example/"), note)->resume();
  made->dataTaskWithURL_completionHandler(std::nullopt, note)->resume();
  made->dataTaskWithURL_completionHandler(URL::URLWithString("ftp://one.example/"), note)->resume();
  for (int i = 0; i < 3; ++i) EXPECT_NE(threads->take(), std::this_thread::get_id());
}

TEST_P(URLSessionContract, ReportsOnceHoweverOftenATaskIsResumed) {
  TLSTestServer server({host}, Answer::reply(200));
  const auto made = session(server);
  auto outcomes = std::make_shared<Outcomes>();
  const auto task = made->dataTaskWithRequest_completionHandler(getRequest("https://one.example/"),
                                                                into(outcomes));
  task->resume();
  task->resume();
  EXPECT_EQ(outcomes->take().status(), 200);
  task->resume();
  // A later call's outcome is the next that comes.
  EXPECT_EQ(call(*made, getRequest("https://one.example/later")).status(), 200);
  EXPECT_EQ(outcomes->count(), 0U);
  EXPECT_EQ(server.requests().size(), 2U);
}

TEST_P(URLSessionContract, SendsNothingForATaskThatWasNeverResumed) {
  TLSTestServer server({host}, Answer::reply(200));
  const auto made = session(server);
  auto outcomes = std::make_shared<Outcomes>();
  made->dataTaskWithRequest_completionHandler(getRequest("https://one.example/a"), into(outcomes));
  EXPECT_EQ(call(*made, getRequest("https://one.example/b")).status(), 200);
  EXPECT_EQ(outcomes->count(), 0U);
  EXPECT_EQ(server.requests().size(), 1U);
}

TEST_P(URLSessionContract, GoesOnWhenSessionAndTaskAreDropped) {
  TLSTestServer server({host}, Answer::reply(200, "late"));
  auto outcomes = std::make_shared<Outcomes>();
  session(server)
      ->dataTaskWithRequest_completionHandler(getRequest("https://one.example/"), into(outcomes))
      ->resume();
  EXPECT_EQ(outcomes->take().text(), "late");
}

TEST_P(URLSessionContract, ReportsAnAbsentURLAsBad) {
  auto outcomes = std::make_shared<Outcomes>();
  session(URLSessionConfiguration{})
      ->dataTaskWithURL_completionHandler(URL::URLWithString("no url"), into(outcomes))
      ->resume();
  const Outcome outcome = outcomes->take();
  EXPECT_EQ(outcome.errorCode(), NSURLErrorBadURL);
  EXPECT_FALSE(outcome.error->localizedDescription().empty());
  EXPECT_EQ(outcome.response, nullptr);
  EXPECT_FALSE(outcome.data.has_value());
}

TEST_P(URLSessionContract, LetsAHandlerStartAndAwaitAnotherSessionsCall) {
  TLSTestServer server({host}, Answer::reply(200, "x"));
  const auto made = session(server);
  const auto other = URLSession::sessionWithConfiguration(server.configuration());
  auto texts = std::make_shared<Mailbox<std::string>>();
  made->dataTaskWithRequest_completionHandler(
          getRequest("https://one.example/"),
          [other, texts](const auto&, const auto&, const auto&) {
            texts->put(call(*other, getRequest("https://one.example/2")).text());
          })
      ->resume();
  EXPECT_EQ(texts->take(), "x");
}

}  // namespace
}  // namespace orx::testing
