// SPDX-License-Identifier: MIT
// Networks that lead nowhere: each gives an error that names the stage, the host and the cause.
#include <ORXAccount/DevelopmentService.h>
#include <dlfcn.h>
#include <gmock/gmock.h>
#include <netdb.h>

#include <atomic>
#include <ctime>
#include <thread>

#include "support/Call.h"
#include "support/LoopbackListener.h"
#include "support/TLSTestServer.h"

namespace {

// While it is set, the system's resolver is silent.
std::atomic<bool> resolverIsSilent{false};
// By how far the system's clock is wrong.
std::atomic<std::time_t> clockIsAhead{0};

}  // namespace

// Stands in for the system's, for libcurl too.
extern "C" __attribute__((visibility("default"))) int getaddrinfo(const char* name,
                                                                  const char* service,
                                                                  const addrinfo* hints,
                                                                  addrinfo** result) {
  resolverIsSilent.wait(true);
  static const auto real =
      reinterpret_cast<decltype(&getaddrinfo)>(dlsym(RTLD_NEXT, "getaddrinfo"));
  return real(name, service, hints, result);
}

// What OpenSSL compares a certificate's dates with.
extern "C" __attribute__((visibility("default"))) std::time_t time(std::time_t* result) noexcept {
  timespec now{};
  clock_gettime(CLOCK_REALTIME, &now);
  const std::time_t shown = now.tv_sec + clockIsAhead;
  if (result != nullptr) *result = shown;
  return shown;
}

namespace orx::testing {

using namespace platform;
namespace {

using ::testing::HasSubstr;
using ::testing::MatchesRegex;
using ::testing::StartsWith;
using Answer = TLSTestServer::Answer;

const std::vector<std::string> hosts{"one.example"};

std::string description(const Outcome& outcome) {
  return outcome.error ? outcome.error->localizedDescription() : "";
}

// It answers every connection with its own page, whatever the other side says.
TEST(HostileNetwork, WhosePortalAnswersWithoutTLS) {
  for (const std::string_view text :
       {"HTTP/1.1 302 Found\r\nLocation: http://portal/\r\n\r\n",
        "HTTP/1.1 200 OK\r\nContent-Length: 24\r\n\r\n<html>Sign in here</html>",
        "HTTP/1.1 511 Network Authentication Required\r\n\r\n"}) {
    const LoopbackListener portal;
    std::thread page([&portal, text] {
      const int connection = portal.accept();
      // Closing it with bytes unread would send RST after the page.
      char greeting[4096];
      EXPECT_GT(recv(connection, greeting, sizeof greeting, 0), 0);
      EXPECT_EQ(send(connection, text.data(), text.size(), 0), static_cast<ssize_t>(text.size()));
      close(connection);
    });
    URLSessionConfiguration configuration;
    configuration.setProxy("");
    configuration.setConnectTo("one.example", {"127.0.0.1", portal.port()});
    const Outcome outcome = call(configuration, postRequest("https://one.example/", "password"));
    page.join();
    EXPECT_EQ(outcome.errorCode(), NSURLErrorSecureConnectionFailed) << text;
    EXPECT_THAT(description(outcome),
                MatchesRegex("could not make a secure connection to one.example: .+"));
  }
}

// One with a certificate that is trusted, as an employer's may be.
TEST(HostileNetwork, WhosePortalLeadsToItsLoginPage) {
  const TLSTestServer portal(hosts,
                             Answer::reply(302, "", {{"Location", "http://portal.example/login"}}));
  for (const auto& request : {postRequest("https://one.example/", "password"),
                              getRequest("https://one.example/picture")}) {
    const Outcome outcome = call(portal.configuration(), request);
    EXPECT_EQ(outcome.errorCode(), NSURLErrorUnsupportedURL);
    EXPECT_EQ(outcome.statusCode, 0);
    EXPECT_THAT(description(outcome),
                MatchesRegex("could not use the URL http://portal.example/: .+"));
  }
}

TEST(HostileNetwork, WhoseClockIsSetBackAndForth) {
  constexpr std::time_t years = std::time_t{2} * 365 * 24 * 60 * 60;
  TLSTestServer kept(hosts, Answer::reply(200));
  EXPECT_EQ(call(kept.configuration(), getRequest("https://one.example/")).statusCode, 200);
  for (const auto& [ahead, cause] : {std::pair{years, "certificate has expired"},
                                     std::pair{-years, "certificate is not yet valid"}}) {
    // Its session could be resumed, which looks at no certificate.
    const TLSTestServer server(hosts, Answer::reply(200));
    const auto request = postRequest("https://one.example/", "password");
    clockIsAhead = ahead;
    const Outcome outcome = call(server.configuration(), request);
    // What runs on the clock that nobody sets, and over a connection that is there, goes on.
    EXPECT_EQ(call(kept.configuration(), request).statusCode, 200);
    clockIsAhead = 0;
    EXPECT_EQ(outcome.errorCode(), NSURLErrorServerCertificateUntrusted);
    EXPECT_THAT(description(outcome),
                StartsWith("could not trust the certificate of one.example: "));
    EXPECT_THAT(description(outcome), HasSubstr(cause));
    EXPECT_EQ(server.receivedByteCount(), 0U);
    EXPECT_EQ(call(server.configuration(), request).statusCode, 200);
  }
  EXPECT_EQ(kept.connectionCount(), 1U);
}

TEST(HostileNetwork, WhoseResolverIsSilent) {
  TLSTestServer server(hosts, Answer::reply(200, "fine"));
  auto configuration = server.configuration();
  configuration.setTimeoutIntervalForRequest(std::chrono::milliseconds(300));
  resolverIsSilent = true;
  const Outcome outcome = call(configuration, getRequest("https://silent.example/"));
  EXPECT_EQ(outcome.errorCode(), NSURLErrorTimedOut);
  EXPECT_EQ(description(outcome), "could not connect to silent.example: timed out");
  // Calls to hosts whose address is known go on meanwhile.
  EXPECT_EQ(call(server.configuration(), getRequest("https://one.example/")).text(), "fine");
  resolverIsSilent = false;
  resolverIsSilent.notify_all();
}

TEST(HostileNetwork, ThatKnowsIPv6Alone) {
  DevelopmentService service;
  DevelopmentServiceOptions options;
  options.address = "::1";
  try {
    service.start(options);
  } catch (const std::runtime_error& reason) {
    GTEST_SKIP() << "this machine has no IPv6: " << reason.what();
  }
  URLSessionConfiguration configuration;
  configuration.setProxy("");
  configuration.setCaFile(service.caFile().string());
  const auto port = static_cast<std::uint16_t>(service.port());
  configuration.setConnectTo(service.hosts().front(), {"::1", port});
  const auto request = getRequest("https://" + service.hosts().front() + "/");
  EXPECT_EQ(call(configuration, request).statusCode, 200);
  service.stop();
  const Outcome outcome = call(configuration, request);
  EXPECT_EQ(outcome.errorCode(), NSURLErrorCannotConnectToHost);
  EXPECT_THAT(description(outcome),
              HasSubstr("could not connect to " + service.hosts().front() + ": "));
}

}  // namespace
}  // namespace orx::testing
