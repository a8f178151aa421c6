#include <gmock/gmock.h>
#include <sys/socket.h>
#include <unistd.h>

#include "platform/http/URLSession.h"
#include "support/Call.h"
#include "support/LoopbackListener.h"
#include "support/TLSTestServer.h"

namespace orx::testing {

using namespace platform;
namespace {

using Answer = TLSTestServer::Answer;
using End = TLSTestServer::End;
using Request = TLSTestServer::Request;
using std::chrono::milliseconds;
using ::testing::HasSubstr;

const std::vector<std::string> hosts{"one.example", "two.example"};

std::string description(const Outcome& outcome) {
  return outcome.error ? outcome.error->localizedDescription() : "";
}

// ---- Failures to connect ----

TEST(URLSession, SaysWhatWhereAndWhyWhenItCannotConnect) {
  URLSessionConfiguration configuration;
  configuration.proxy = "";
  configuration.connectTo["one.example"] = {"127.0.0.1", 1};
  const Outcome outcome = call(configuration, getRequest("https://one.example/x"));
  EXPECT_EQ(outcome.errorCode(), NSURLErrorCannotConnectToHost);
  EXPECT_EQ(description(outcome), "could not connect to one.example: Connection refused");
  EXPECT_EQ(outcome.error->userInfo()[NSURLErrorFailingURLStringErrorKey].text(),
            "https://one.example/x");
}

TEST(URLSession, ReportsAHostThatIsNotFound) {
  URLSessionConfiguration configuration;
  configuration.proxy = "";
  const Outcome outcome = call(configuration, getRequest("https://nowhere.invalid/"));
  EXPECT_EQ(outcome.errorCode(), NSURLErrorCannotFindHost);
  EXPECT_THAT(description(outcome), HasSubstr("could not find the host nowhere.invalid"));
}

TEST(URLSession, SpeaksHTTPSOnly) {
  URLSessionConfiguration configuration;
  configuration.proxy = "";
  for (const auto* url : {"http://127.0.0.1:1/", "ftp://127.0.0.1:1/", "gopher://127.0.0.1:1/"}) {
    EXPECT_EQ(call(configuration, getRequest(url)).errorCode(), NSURLErrorUnsupportedURL) << url;
  }
}

TEST(URLSession, UsesTheProxyThatTheConfigurationNames) {
  TLSTestServer server(hosts, Answer::reply(200));
  auto configuration = server.configuration();
  configuration.proxy = "http://127.0.0.1:1";
  EXPECT_EQ(call(configuration, getRequest("https://one.example/")).errorCode(),
            NSURLErrorCannotConnectToHost);
}

TEST(URLSession, UsesTheProxyOfTheEnvironmentOnlyWhenNoneIsConfigured) {
  setenv("https_proxy", "http://127.0.0.1:1", 1);
  TLSTestServer server(hosts, Answer::reply(200));
  auto configuration = server.configuration();
  EXPECT_EQ(call(configuration, getRequest("https://one.example/")).status(), 200);
  configuration.proxy.reset();
  EXPECT_EQ(call(configuration, getRequest("https://one.example/")).errorCode(),
            NSURLErrorCannotConnectToHost);
}

// ---- Trust ----

TEST(URLSession, SendsNoByteToAServerThatItDoesNotTrust) {
  for (const auto fault : {CertificateFault::expired, CertificateFault::wrongName,
                           CertificateFault::unknownAuthority}) {
    TLSTestServer server(
        hosts, [](const Request&) { return Answer::reply(200); }, fault);
    const Outcome outcome =
        call(server.configuration(), postRequest("https://one.example/", "password"));
    EXPECT_EQ(outcome.errorCode(), NSURLErrorServerCertificateUntrusted);
    EXPECT_THAT(description(outcome),
                HasSubstr("could not trust the certificate of one.example: "));
    EXPECT_TRUE(eventually([&] { return server.openConnectionCount() == 0; }));
    EXPECT_EQ(server.receivedByteCount(), 0U);
    EXPECT_EQ(server.connectionCount(), 1U);
  }
}

TEST(URLSession, TrustsNobodyWithoutTheCAFile) {
  TLSTestServer server(hosts, Answer::reply(200));
  auto configuration = server.configuration();
  configuration.caFile.reset();
  EXPECT_EQ(call(configuration, getRequest("https://one.example/")).errorCode(),
            NSURLErrorServerCertificateUntrusted);
  configuration.caFile = server.caFile() + ".absent";
  EXPECT_EQ(call(configuration, getRequest("https://one.example/")).errorCode(),
            NSURLErrorServerCertificateUntrusted);
  EXPECT_EQ(server.receivedByteCount(), 0U);
}

TEST(URLSession, ChecksTheCertificateAgainstTheNameNotTheAddress) {
  TLSTestServer server({"one.example"}, Answer::reply(200));
  const auto configuration = server.configurationFor({"one.example", "other.example"});
  EXPECT_EQ(call(configuration, getRequest("https://other.example/")).errorCode(),
            NSURLErrorServerCertificateUntrusted);
  EXPECT_EQ(call(configuration, getRequest("https://one.example/")).status(), 200);
}

TEST(URLSession, TellsTLSFaultsFromCertificateFaults) {
  // A server that speaks no TLS at all.
  const LoopbackListener listener;
  std::thread plain([&listener] {
    const int connection = listener.accept();
    char byte = 0;
    (void)!read(connection, &byte, 1);
    (void)!write(connection, "HTTP/1.1 400 No\r\n\r\n", 19);
    shutdown(connection, SHUT_WR);
    while (read(connection, &byte, 1) > 0) {
    }
    close(connection);
  });
  URLSessionConfiguration configuration;
  configuration.proxy = "";
  configuration.connectTo["one.example"] = {"127.0.0.1", listener.port()};
  const Outcome outcome = call(configuration, getRequest("https://one.example/"));
  plain.join();
  EXPECT_EQ(outcome.errorCode(), NSURLErrorSecureConnectionFailed);
  EXPECT_THAT(description(outcome), HasSubstr("secure connection to one.example"));
}

TEST(URLSession, NeverSharesAConnectionBetweenDifferentConfigurations) {
  TLSTestServer first(hosts, Answer::reply(200, "first"));
  TLSTestServer second(hosts, Answer::reply(200, "second"));
  const auto request = getRequest("https://one.example/");
  EXPECT_EQ(call(first.configuration(), request).text(), "first");
  // Another place for the same name, another authority for the same place.
  EXPECT_EQ(call(second.configuration(), request).text(), "second");
  auto distrusting = first.configuration();
  distrusting.caFile = second.caFile();
  EXPECT_EQ(call(distrusting, request).errorCode(), NSURLErrorServerCertificateUntrusted);
  EXPECT_EQ(call(first.configuration(), request).text(), "first");
  EXPECT_EQ(first.connectionCount(), 2U);
}

TEST(URLSession, SharesConnectionsBetweenSessions) {
  TLSTestServer server(hosts, Answer::reply(200));
  for (int i = 0; i < 5; ++i) {
    EXPECT_EQ(call(server.configuration(), postRequest("https://one.example/", "b")).status(), 200);
  }
  EXPECT_EQ(server.connectionCount(), 1U);
}

TEST(URLSession, OffersHTTP2OnlyWhenAsked) {
  TLSTestServer server(hosts, Answer::reply(200));
  auto configuration = server.configuration();
  EXPECT_EQ(call(configuration, getRequest("https://one.example/")).status(), 200);
  EXPECT_THAT(server.offeredProtocols(), ::testing::ElementsAre("http/1.1"));
  configuration.usesHTTP2 = true;
  EXPECT_EQ(call(configuration, getRequest("https://two.example/")).status(), 200);
  EXPECT_THAT(server.offeredProtocols(), ::testing::ElementsAre("h2", "http/1.1"));
}

// ---- Time-outs ----

// Over a connection that is there already, so that a short limit is spent on the answer alone.
Outcome callInAHurry(const TLSTestServer& server, URLRequest request) {
  auto configuration = server.configuration();
  EXPECT_EQ(call(configuration, getRequest("https://one.example/fine")).status(), 200);
  configuration.timeoutIntervalForRequest = milliseconds(300);
  return call(configuration, std::move(request));
}

TLSTestServer::Handler fineOr(const Answer& answer) {
  return [answer](const Request& request) {
    return request.target == "/fine" ? Answer::reply(200) : answer;
  };
}

TEST(URLSession, TimesOutWhenNoAnswerComes) {
  TLSTestServer server(hosts, fineOr(Answer::silence()));
  const Outcome outcome = callInAHurry(server, postRequest("https://one.example/", "b"));
  EXPECT_EQ(outcome.errorCode(), NSURLErrorTimedOut);
  EXPECT_EQ(outcome.response, nullptr);
  EXPECT_EQ(description(outcome), "got no answer from one.example: timed out");
  EXPECT_EQ(server.requests().size(), 2U);
}

TEST(URLSession, TimesOutInTheBodyWithTheBytesSoFar) {
  Answer answer = Answer::reply(200, "0123456789");
  answer.bytes.resize(answer.bytes.size() - 3);
  answer.stalls = true;
  TLSTestServer server(hosts, fineOr(answer));
  const Outcome outcome = callInAHurry(server, getRequest("https://one.example/"));
  EXPECT_EQ(outcome.errorCode(), NSURLErrorTimedOut);
  EXPECT_EQ(outcome.text(), "0123456");
  EXPECT_EQ(outcome.status(), 200);
}

TEST(URLSession, TimesOutWhenTheHandshakeGetsNoAnswer) {
  // Connections are queued by the system; nobody accepts them.
  const LoopbackListener listener;
  URLSessionConfiguration configuration;
  configuration.proxy = "";
  configuration.connectTo["one.example"] = {"127.0.0.1", listener.port()};
  configuration.timeoutIntervalForRequest = milliseconds(100);
  const Outcome outcome = call(configuration, getRequest("https://one.example/"));
  EXPECT_EQ(outcome.errorCode(), NSURLErrorTimedOut);
  EXPECT_EQ(description(outcome), "could not connect to one.example: timed out");
}

TEST(URLSession, NeverCutsABodyThatMovesSlowly) {
  constexpr milliseconds limit(2'000);
  const std::string body(100, 'b');
  Answer answer = Answer::reply(200, body);
  answer.pace = limit * 3 / 2 / body.size();
  TLSTestServer server(hosts, answer);
  auto configuration = server.configuration();
  configuration.timeoutIntervalForRequest = limit;
  const Outcome outcome = call(configuration, getRequest("https://one.example/"));
  EXPECT_EQ(outcome.error, nullptr) << description(outcome);
  EXPECT_EQ(outcome.text(), body);
}

TEST(URLSession, CountsEachTransfersSilenceByItself) {
  TLSTestServer server(hosts, [](const Request& request) {
    return request.target == "/silent" ? Answer::silence() : Answer::reply(200);
  });
  auto patient = server.configuration();
  auto hasty = server.configuration();
  hasty.timeoutIntervalForRequest = milliseconds(50);
  auto late = std::make_shared<Outcomes>();
  URLSession::sessionWithConfiguration(patient)
      ->dataTaskWithRequest_completionHandler(getRequest("https://one.example/silent"), into(late))
      ->resume();
  EXPECT_EQ(call(hasty, getRequest("https://one.example/silent")).errorCode(), NSURLErrorTimedOut);
  EXPECT_EQ(call(patient, getRequest("https://one.example/")).status(), 200);
  EXPECT_EQ(late->count(), 0U);
  server.dropConnections(End::cut);
  EXPECT_EQ(late->take().errorCode(), NSURLErrorNetworkConnectionLost);
}

// ---- Ceilings ----

TEST(URLSession, StopsABodyAtTheCeiling) {
  TLSTestServer server(hosts, Answer::reply(200, std::string(100'000, 'x')));
  auto configuration = server.configuration();
  configuration.maximumBodySize = 99'999;
  const Outcome outcome = call(configuration, getRequest("https://one.example/"));
  EXPECT_EQ(outcome.errorCode(), NSURLErrorDataLengthExceedsMaximum);
  EXPECT_EQ(outcome.status(), 200);
  EXPECT_EQ(outcome.text(), std::string(99'999, 'x'));
  configuration.maximumBodySize = 100'000;
  EXPECT_EQ(call(configuration, getRequest("https://one.example/")).error, nullptr);
}

TEST(URLSession, StopsAHeaderAtTheCeiling) {
  HeaderFields fields(100, {"X-Field", std::string(100, 'x')});
  const Answer answer = Answer::reply(200, "", fields);
  TLSTestServer server(hosts, answer);
  auto configuration = server.configuration();
  configuration.maximumHeaderSize = answer.headSize();
  EXPECT_EQ(call(configuration, getRequest("https://one.example/")).status(), 200);
  --configuration.maximumHeaderSize;
  const Outcome outcome = call(configuration, getRequest("https://one.example/"));
  EXPECT_EQ(outcome.errorCode(), NSURLErrorDataLengthExceedsMaximum);
  EXPECT_EQ(outcome.response, nullptr);
}

TEST(URLSession, TakesOneEndlessHeaderLineForTooLong) {
  TLSTestServer server(hosts, Answer{.bytes = "HTTP/1.1 200 A\r\nX: " + std::string(400'000, 'x')});
  const Outcome outcome = call(server.configuration(), getRequest("https://one.example/"));
  EXPECT_EQ(outcome.errorCode(), NSURLErrorDataLengthExceedsMaximum);
  EXPECT_EQ(outcome.response, nullptr);
}

// ---- Queues ----

TEST(URLSession, RunsTheHandlersOfOneSessionOneAtATime) {
  TLSTestServer server(hosts, Answer::reply(200));
  const auto session = URLSession::sessionWithConfiguration(server.configuration());
  std::atomic<int> inside{0};
  Mailbox<int> seen;
  constexpr int count = 20;
  for (int i = 0; i < count; ++i) {
    session
        ->dataTaskWithRequest_completionHandler(getRequest("https://one.example/"),
                                                [&](const auto&, const auto&, const auto&) {
                                                  const int present = ++inside;
                                                  std::this_thread::yield();
                                                  --inside;
                                                  seen.put(present);
                                                })
        ->resume();
  }
  for (int i = 0; i < count; ++i) EXPECT_EQ(seen.take(), 1);
}

TEST(URLSession, LetsNoBlockedHandlerHoldUpOtherSessionsOrSharedTasks) {
  TLSTestServer server(hosts, Answer::reply(200));
  URLSessionConfiguration::setDefaultConfiguration(server.configuration());
  Event gate;
  Mailbox<int> entered;
  Mailbox<int> left;
  const auto block = [&](const auto&, const auto&, const auto&) {
    entered.put(1);
    (void)gate.wait();
    left.put(1);
  };
  constexpr int blocked = 30;
  for (int i = 0; i < blocked; ++i) {
    const auto session = i % 2 == 0 ? URLSession::sharedSession()
                                    : URLSession::sessionWithConfiguration(server.configuration());
    session->dataTaskWithRequest_completionHandler(getRequest("https://one.example/"), block)
        ->resume();
  }
  for (int i = 0; i < blocked; ++i) entered.take();
  EXPECT_EQ(call(*URLSession::sharedSession(), getRequest("https://one.example/")).status(), 200);
  EXPECT_EQ(call(server.configuration(), getRequest("https://one.example/")).status(), 200);
  gate.set();
  for (int i = 0; i < blocked; ++i) left.take();
}

TEST(URLSession, LetsGoOfAHandlerOnceItHasReported) {
  TLSTestServer server(hosts, Answer::reply(200));
  const auto unreachable = server.configurationFor({"elsewhere.example"});
  const auto configuration = std::make_shared<URLSessionConfiguration>(server.configuration());
  const auto session = URLSession::sessionWithConfiguration(server.configuration());
  const auto nowhere = URLSession::sessionWithConfiguration(
      {.caFile = "/nowhere.pem", .proxy = "", .connectTo = unreachable.connectTo});
  const auto request = getRequest("https://one.example/");
  std::vector<std::function<void(URLSession::CompletionHandler)>> ways{
      [&](auto handler) {
        session->dataTaskWithRequest_completionHandler(request, std::move(handler))->resume();
      },
      [&](auto handler) {
        nowhere
            ->dataTaskWithURL_completionHandler(URL::URLWithString("https://elsewhere.example/"),
                                                std::move(handler))
            ->resume();
      },
      [&](auto handler) {
        session->dataTaskWithURL_completionHandler(std::nullopt, std::move(handler))->resume();
      },
      [&](auto handler) { URLSession::startOnlyTask(request, configuration, std::move(handler)); }};
  for (const auto& start : ways) {
    auto held = std::make_shared<Event>();
    const std::weak_ptr<Event> watched = held;
    const auto reported = std::make_shared<Event>();
    start([held = std::move(held), reported](const auto&, const auto&, const auto&) {
      reported->set();
    });
    EXPECT_TRUE(reported->wait());
    EXPECT_TRUE(eventually([&] { return watched.expired(); }));
  }
}

TEST(URLSession, TakesNoHandlerForAnOnlyTask) {
  TLSTestServer server(hosts, Answer::reply(200));
  URLSession::startOnlyTask(getRequest("https://one.example/"),
                            std::make_shared<URLSessionConfiguration>(server.configuration()), {});
  EXPECT_EQ(server.awaitRequests(1).size(), 1U);
  EXPECT_EQ(call(server.configuration(), getRequest("https://one.example/")).status(), 200);
}

TEST(URLSession, TakesTheDefaultConfigurationOfTheMomentATaskIsMade) {
  TLSTestServer first(hosts, Answer::reply(200, "first"));
  TLSTestServer second(hosts, Answer::reply(200, "second"));
  auto outcomes = std::make_shared<Outcomes>();
  URLSessionConfiguration::setDefaultConfiguration(first.configuration());
  const auto task = URLSession::sharedSession()->dataTaskWithURL_completionHandler(
      URL::URLWithString("https://one.example/"), into(outcomes));
  URLSessionConfiguration::setDefaultConfiguration(second.configuration());
  EXPECT_EQ(URLSessionConfiguration::defaultConfiguration(), second.configuration());
  task->resume();
  EXPECT_EQ(outcomes->take().text(), "first");
  EXPECT_EQ(call(*URLSession::sharedSession(), getRequest("https://one.example/")).text(),
            "second");
}

}  // namespace
}  // namespace orx::testing
