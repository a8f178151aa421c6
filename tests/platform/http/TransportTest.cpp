// SPDX-License-Identifier: MIT
#include <gmock/gmock.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>

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

TEST(Transport, SaysWhatWhereAndWhyWhenItCannotConnect) {
  URLSessionConfiguration configuration;
  configuration.setProxy("");
  configuration.setConnectTo("one.example", {"127.0.0.1", 1});
  const Outcome outcome = call(configuration, getRequest("https://one.example/x"));
  EXPECT_EQ(outcome.errorCode(), NSURLErrorCannotConnectToHost);
  EXPECT_EQ(description(outcome), "could not connect to one.example: Connection refused");
  EXPECT_EQ(outcome.error->userInfo()[NSURLErrorFailingURLStringErrorKey].text(),
            "https://one.example/x");
}

TEST(Transport, ReportsAHostThatIsNotFound) {
  URLSessionConfiguration configuration;
  configuration.setProxy("");
  const Outcome outcome = call(configuration, getRequest("https://nowhere.invalid/"));
  EXPECT_EQ(outcome.errorCode(), NSURLErrorCannotFindHost);
  EXPECT_THAT(description(outcome), HasSubstr("could not find the host nowhere.invalid"));
}

TEST(Transport, SpeaksHTTPSOnly) {
  URLSessionConfiguration configuration;
  configuration.setProxy("");
  for (const auto* url : {"http://127.0.0.1:1/", "ftp://127.0.0.1:1/", "gopher://127.0.0.1:1/"}) {
    EXPECT_EQ(call(configuration, getRequest(url)).errorCode(), NSURLErrorUnsupportedURL) << url;
  }
}

TEST(Transport, UsesTheProxyThatTheConfigurationNames) {
  TLSTestServer server(hosts, Answer::reply(200));
  auto configuration = server.configuration();
  configuration.setProxy("http://127.0.0.1:1");
  EXPECT_EQ(call(configuration, getRequest("https://one.example/")).errorCode(),
            NSURLErrorCannotConnectToHost);
}

TEST(Transport, UsesTheProxyOfTheEnvironmentOnlyWhenNoneIsConfigured) {
  setenv("https_proxy", "http://127.0.0.1:1", 1);
  TLSTestServer server(hosts, Answer::reply(200));
  auto configuration = server.configuration();
  EXPECT_EQ(call(configuration, getRequest("https://one.example/")).statusCode, 200);
  configuration.setProxy(std::nullopt);
  EXPECT_EQ(call(configuration, getRequest("https://one.example/")).errorCode(),
            NSURLErrorCannotConnectToHost);
}

// ---- Trust ----

TEST(Transport, SendsNoByteToAServerThatItDoesNotTrust) {
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

TEST(Transport, TrustsNobodyWithoutTheCAFile) {
  TLSTestServer server(hosts, Answer::reply(200));
  auto configuration = server.configuration();
  configuration.setCaFile(std::nullopt);
  EXPECT_EQ(call(configuration, getRequest("https://one.example/")).errorCode(),
            NSURLErrorServerCertificateUntrusted);
  configuration.setCaFile(server.caFile() + ".absent");
  EXPECT_EQ(call(configuration, getRequest("https://one.example/")).errorCode(),
            NSURLErrorServerCertificateUntrusted);
  EXPECT_EQ(server.receivedByteCount(), 0U);
}

TEST(Transport, ChecksTheCertificateAgainstTheNameNotTheAddress) {
  TLSTestServer server({"one.example"}, Answer::reply(200));
  const auto configuration = server.configurationFor({"one.example", "other.example"});
  EXPECT_EQ(call(configuration, getRequest("https://other.example/")).errorCode(),
            NSURLErrorServerCertificateUntrusted);
  EXPECT_EQ(call(configuration, getRequest("https://one.example/")).statusCode, 200);
}

TEST(Transport, TellsTLSFaultsFromCertificateFaults) {
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
  configuration.setProxy("");
  configuration.setConnectTo("one.example", {"127.0.0.1", listener.port()});
  const Outcome outcome = call(configuration, getRequest("https://one.example/"));
  plain.join();
  EXPECT_EQ(outcome.errorCode(), NSURLErrorSecureConnectionFailed);
  EXPECT_THAT(description(outcome), HasSubstr("secure connection to one.example"));
}

TEST(Transport, NeverSharesAConnectionBetweenDifferentConfigurations) {
  TLSTestServer first(hosts, Answer::reply(200, "first"));
  TLSTestServer second(hosts, Answer::reply(200, "second"));
  const auto request = getRequest("https://one.example/");
  EXPECT_EQ(call(first.configuration(), request).text(), "first");
  // Another place for the same name, another authority for the same place.
  EXPECT_EQ(call(second.configuration(), request).text(), "second");
  auto distrusting = first.configuration();
  distrusting.setCaFile(second.caFile());
  EXPECT_EQ(call(distrusting, request).errorCode(), NSURLErrorServerCertificateUntrusted);
  EXPECT_EQ(call(first.configuration(), request).text(), "first");
  EXPECT_EQ(first.connectionCount(), 2U);
}

TEST(Transport, SharesConnectionsBetweenTransfers) {
  TLSTestServer server(hosts, Answer::reply(200));
  for (int i = 0; i < 5; ++i) {
    EXPECT_EQ(call(server.configuration(), postRequest("https://one.example/", "b")).statusCode,
              200);
  }
  EXPECT_EQ(server.connectionCount(), 1U);
}

// ---- Time-outs ----

// Over a connection that is there already, so that a short limit is spent on the answer alone.
Outcome callInAHurry(const TLSTestServer& server, URLRequest request) {
  auto configuration = server.configuration();
  EXPECT_EQ(call(configuration, getRequest("https://one.example/fine")).statusCode, 200);
  configuration.setTimeoutIntervalForRequest(milliseconds(300));
  return call(configuration, std::move(request));
}

TLSTestServer::Handler fineOr(const Answer& answer) {
  return [answer](const Request& request) {
    return request.target == "/fine" ? Answer::reply(200) : answer;
  };
}

TEST(Transport, TimesOutWhenNoAnswerComes) {
  TLSTestServer server(hosts, fineOr(Answer::silence()));
  const Outcome outcome = callInAHurry(server, postRequest("https://one.example/", "b"));
  EXPECT_EQ(outcome.errorCode(), NSURLErrorTimedOut);
  EXPECT_EQ(outcome.statusCode, 0);
  EXPECT_EQ(description(outcome), "got no answer from one.example: timed out");
  EXPECT_EQ(server.requests().size(), 2U);
}

TEST(Transport, TakesTheUsualTimeoutForOneThatIsNone) {
  TLSTestServer server(hosts, Answer::reply(200));
  for (const milliseconds none : {milliseconds(0), milliseconds(-1)}) {
    auto configuration = server.configuration();
    configuration.setTimeoutIntervalForRequest(none);
    EXPECT_EQ(call(configuration, getRequest("https://one.example/")).statusCode, 200);
  }
}

TEST(Transport, TimesOutInTheBodyWithTheBytesSoFar) {
  Answer answer = Answer::reply(200, "0123456789");
  answer.bytes.resize(answer.bytes.size() - 3);
  answer.stalls = true;
  TLSTestServer server(hosts, fineOr(answer));
  const Outcome outcome = callInAHurry(server, getRequest("https://one.example/"));
  EXPECT_EQ(outcome.errorCode(), NSURLErrorTimedOut);
  EXPECT_EQ(outcome.text(), "0123456");
  EXPECT_EQ(outcome.statusCode, 200);
}

TEST(Transport, TimesOutWhenTheHandshakeGetsNoAnswer) {
  // Connections are queued by the system; nobody accepts them.
  const LoopbackListener listener;
  URLSessionConfiguration configuration;
  configuration.setProxy("");
  configuration.setConnectTo("one.example", {"127.0.0.1", listener.port()});
  configuration.setTimeoutIntervalForRequest(milliseconds(100));
  const Outcome outcome = call(configuration, getRequest("https://one.example/"));
  EXPECT_EQ(outcome.errorCode(), NSURLErrorTimedOut);
  EXPECT_EQ(description(outcome), "could not connect to one.example: timed out");
}

TEST(Transport, NeverCutsABodyThatMovesSlowly) {
  constexpr milliseconds limit(2'000);
  const std::string body(100, 'b');
  Answer answer = Answer::reply(200, body);
  answer.pace = limit * 3 / 2 / body.size();
  TLSTestServer server(hosts, answer);
  auto configuration = server.configuration();
  configuration.setTimeoutIntervalForRequest(limit);
  const Outcome outcome = call(configuration, getRequest("https://one.example/"));
  EXPECT_EQ(outcome.error, nullptr) << description(outcome);
  EXPECT_EQ(outcome.text(), body);
}

TEST(Transport, EndsACallThatTakesTooLongAsAWholeThoughItMoves) {
  Answer answer = Answer::reply(200, std::string(1'000'000, 'b'));
  answer.pace = milliseconds(1);
  TLSTestServer server(hosts, answer);
  auto configuration = server.configuration();
  configuration.setTimeoutIntervalForResource(milliseconds(500));
  const Outcome outcome = call(configuration, getRequest("https://one.example/"));
  EXPECT_EQ(outcome.errorCode(), NSURLErrorTimedOut);
  EXPECT_TRUE(description(outcome).ends_with(": timed out as a whole")) << description(outcome);
}

// The request, and then its redirect, may each be fast enough.
TEST(Transport, CountsTheTimeOfAWholeCallOverItsRedirects) {
  std::atomic<int> hops = 0;
  TLSTestServer server(hosts, [&](const Request&) {
    // Always another place, so that nothing but a limit ends it.
    Answer answer = Answer::reply(303, "", {{"Location", "/" + std::to_string(++hops)}});
    answer.pace = milliseconds(2);
    return answer;
  });
  auto configuration = server.configuration();
  configuration.setTimeoutIntervalForResource(milliseconds(500));
  for (const URLRequest& request :
       {getRequest("https://one.example/"), postRequest("https://one.example/", "b")}) {
    EXPECT_EQ(call(configuration, request).errorCode(), NSURLErrorTimedOut);
  }
}

TEST(Transport, TakesAnyTimeForAWholeCall) {
  TLSTestServer server(hosts, Answer::reply(200));
  auto configuration = server.configuration();
  configuration.setTimeoutIntervalForResource(milliseconds::max());
  EXPECT_EQ(call(configuration, getRequest("https://one.example/")).statusCode, 200);
}

TEST(Transport, CountsEachTransfersSilenceByItself) {
  TLSTestServer server(hosts, [](const Request& request) {
    return request.target == "/silent" ? Answer::silence() : Answer::reply(200);
  });
  auto patient = server.configuration();
  auto hasty = server.configuration();
  hasty.setTimeoutIntervalForRequest(milliseconds(50));
  auto late = std::make_shared<Outcomes>();
  start(patient, getRequest("https://one.example/silent"), into(late));
  EXPECT_EQ(call(hasty, getRequest("https://one.example/silent")).errorCode(), NSURLErrorTimedOut);
  EXPECT_EQ(call(patient, getRequest("https://one.example/")).statusCode, 200);
  EXPECT_EQ(late->count(), 0U);
  server.dropConnections(End::cut);
  EXPECT_EQ(late->take().errorCode(), NSURLErrorNetworkConnectionLost);
}

// ---- Ceilings ----

TEST(Transport, StopsABodyAtTheCeiling) {
  TLSTestServer server(hosts, Answer::reply(200, std::string(100'000, 'x')));
  auto configuration = server.configuration();
  configuration.setMaximumBodySize(99'999);
  const Outcome outcome = call(configuration, getRequest("https://one.example/"));
  EXPECT_EQ(outcome.errorCode(), NSURLErrorDataLengthExceedsMaximum);
  EXPECT_EQ(outcome.statusCode, 200);
  EXPECT_EQ(outcome.text(), std::string(99'999, 'x'));
  configuration.setMaximumBodySize(100'000);
  EXPECT_EQ(call(configuration, getRequest("https://one.example/")).error, nullptr);
}

TEST(Transport, StopsAHeaderAtTheCeiling) {
  HeaderFields fields(100, {"X-Field", std::string(100, 'x')});
  const Answer answer = Answer::reply(200, "", fields);
  TLSTestServer server(hosts, answer);
  auto configuration = server.configuration();
  configuration.setMaximumHeaderSize(answer.headSize());
  EXPECT_EQ(call(configuration, getRequest("https://one.example/")).statusCode, 200);
  configuration.setMaximumHeaderSize(configuration.maximumHeaderSize() - 1);
  const Outcome outcome = call(configuration, getRequest("https://one.example/"));
  EXPECT_EQ(outcome.errorCode(), NSURLErrorDataLengthExceedsMaximum);
  EXPECT_EQ(outcome.statusCode, 0);
}

TEST(Transport, TakesOneEndlessHeaderLineForTooLong) {
  TLSTestServer server(hosts, Answer{.bytes = "HTTP/1.1 200 A\r\nX: " + std::string(400'000, 'x')});
  const Outcome outcome = call(server.configuration(), getRequest("https://one.example/"));
  EXPECT_EQ(outcome.errorCode(), NSURLErrorDataLengthExceedsMaximum);
  EXPECT_EQ(outcome.statusCode, 0);
}

}  // namespace
}  // namespace orx::testing
