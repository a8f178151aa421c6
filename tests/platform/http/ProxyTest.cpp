// SPDX-License-Identifier: MIT
// What goes through a proxy's tunnel goes as without one.
#include <gmock/gmock.h>

#include <fstream>

#include "support/Call.h"
#include "support/ConnectProxy.h"
#include "support/Program.h"
#include "support/TLSTestServer.h"
#include "support/TemporaryDirectory.h"

namespace orx::testing {

using namespace platform;
namespace {

using Answer = TLSTestServer::Answer;
using End = TLSTestServer::End;
using Request = TLSTestServer::Request;
using ::testing::HasSubstr;

class Proxy : public ::testing::Test {
 protected:
  static Answer answer(const Request& request) {
    if (request.target == "/moved") return Answer::reply(302, "", {{"Location", "/"}});
    if (request.target == "/lost") return Answer::hangUp(End::cut);
    if (request.target == "/short") {
      const Answer whole = Answer::reply(200, "whole");
      return whole.cutAfter(whole.headSize() + 1, End::cut);
    }
    return Answer::reply(200, request.method + ' ' + request.body);
  }

  Outcome call(URLRequest request) {
    auto configuration = server_.configurationFor({});
    configuration.setProxy(proxy_.url());
    return orx::testing::call(configuration, std::move(request));
  }

  TLSTestServer server_{{"one.example"}, answer};
  ConnectProxy proxy_{server_.port()};
};

TEST_F(Proxy, CarriesCallsOverOneTunnelThatIsKept) {
  EXPECT_EQ(call(postRequest("https://one.example/", "ann")).text(), "POST ann");
  EXPECT_EQ(call(getRequest("https://one.example/")).text(), "GET ");
  EXPECT_EQ(call(postRequest("https://one.example/moved", "ann")).text(), "GET ");
  EXPECT_EQ(call(getRequest("https://one.example/moved")).text(), "GET ");
  EXPECT_EQ(proxy_.tunnelCount(), 1U);
}

TEST_F(Proxy, TakesARequestOnceThoughItsConnectionIsLost) {
  EXPECT_EQ(call(postRequest("https://one.example/", "ann")).text(), "POST ann");
  for (auto& request :
       {postRequest("https://one.example/lost", "ann"), getRequest("https://one.example/lost")}) {
    EXPECT_EQ(call(request).errorCode(), NSURLErrorNetworkConnectionLost);
  }
  EXPECT_EQ(server_.requests().size(), 3U);
}

TEST_F(Proxy, IsToldTheNameAndThePasswordOfItsURL) {
  auto configuration = server_.configurationFor({});
  const std::string place = proxy_.url().substr(std::string("http://").size());
  for (const auto& [credentials, encoded] : std::vector<std::pair<std::string, std::string>>{
           {"joe:p%40ss%3A/", ""}, {"joe:p%40ss%3A", "am9lOnBAc3M6"}, {"joe", "am9lOg=="}}) {
    configuration.setProxy(std::string("http://").append(credentials).append("@").append(place));
    const Outcome outcome = orx::testing::call(configuration, getRequest("https://one.example/"));
    if (encoded.empty()) {
      EXPECT_EQ(outcome.errorCode(), NSURLErrorCannotConnectToHost) << credentials;
    } else {
      EXPECT_EQ(outcome.text(), "GET ");
      EXPECT_THAT(proxy_.lastHead(), HasSubstr("Proxy-Authorization: Basic " + encoded + "\r\n"));
    }
    server_.dropConnections(End::cut);
    ASSERT_TRUE(eventually([&] { return proxy_.openTunnelCount() == 0; }));
  }
}

TEST_F(Proxy, OfTheEnvironmentIsTheFirstThatIsNamedAtTheCall) {
  auto configuration = server_.configurationFor({});
  configuration.setProxy(std::nullopt);
  const char* names[] = {"ALL_PROXY", "all_proxy", "HTTPS_PROXY", "https_proxy"};
  for (const auto* name : names) {
    // One that is looked at earlier wins over those before it.
    setenv(name, proxy_.url().c_str(), 1);
    EXPECT_EQ(orx::testing::call(configuration, getRequest("https://one.example/")).text(), "GET ")
        << name;
    setenv(name, "http://127.0.0.1:1", 1);
    EXPECT_EQ(orx::testing::call(configuration, getRequest("https://one.example/")).errorCode(),
              NSURLErrorCannotConnectToHost)
        << name;
  }
  for (const auto* name : names) unsetenv(name);
}

TEST_F(Proxy, IsLeftOutForTheHostsThatAreExcepted) {
  auto configuration = server_.configuration();
  const auto direct = [&] {
    return orx::testing::call(configuration, getRequest("https://one.example/")).text() == "GET ";
  };
  configuration.setProxy("http://127.0.0.1:1");
  EXPECT_FALSE(direct());
  configuration.setProxyExceptions("two.example, one.example");
  EXPECT_TRUE(direct());
  configuration.setProxyExceptions("two.example");
  EXPECT_FALSE(direct());
  // Those of the environment are the environment's proxy's alone.
  setenv("no_proxy", "*", 1);
  EXPECT_FALSE(direct());
  configuration.setProxy(std::nullopt);
  configuration.setProxyExceptions("");
  setenv("https_proxy", "http://127.0.0.1:1", 1);
  EXPECT_TRUE(direct());
  setenv("no_proxy", "two.example", 1);
  EXPECT_FALSE(direct());
  unsetenv("no_proxy");
  unsetenv("https_proxy");
}

TEST_F(Proxy, IsNamedWhereItCannotBeReached) {
  auto configuration = server_.configuration();
  const auto said = [&](const std::string& proxy) {
    configuration.setProxy(proxy);
    const Outcome outcome = orx::testing::call(configuration, getRequest("https://one.example/"));
    return outcome.error ? outcome.error->localizedDescription() : "";
  };
  EXPECT_EQ(said("http://127.0.0.1:1"),
            "could not connect to the proxy 127.0.0.1: Connection refused");
  // Too long for any resolver to ask for.
  const std::string nobody(64, 'a');
  EXPECT_THAT(said("http://" + nobody + ":1"),
              HasSubstr("could not find the host of the proxy " + nobody + ": "));
}

TEST_F(Proxy, GetsANewTunnelForOneThatDiedWhileIdle) {
  EXPECT_EQ(call(postRequest("https://one.example/", "ann")).text(), "POST ann");
  server_.dropConnections(End::cut);
  ASSERT_TRUE(eventually([&] { return proxy_.openTunnelCount() == 0; }));
  EXPECT_EQ(call(postRequest("https://one.example/", "bob")).text(), "POST bob");
}

TEST_F(Proxy, MaySayMoreThanAReplysHeaderMayHold) {
  const ConnectProxy talkative(
      server_.port(), "HTTP/1.1 200 Connected\r\nVia: " + std::string(2000, 'x') + "\r\n\r\n");
  auto configuration = server_.configurationFor({});
  configuration.setProxy(talkative.url());
  configuration.setMaximumHeaderSize(1000);
  const auto outcome = orx::testing::call(configuration, getRequest("https://one.example/"));
  EXPECT_EQ(outcome.text(), "GET ");
}

TEST_F(Proxy, IsNotBlamedForWhatTheServerDoesOverATunnelThatIsKept) {
  const TemporaryDirectory directory;
  const auto issued = server_.authority().issue({"127.0.0.1"});
  std::ofstream(directory / "proxy.pem") << issued.certificatePEM << issued.privateKeyPEM;
  // NOLINTNEXTLINE(bugprone-suspicious-missing-comma): one path in two pieces
  Program overTLS({"python3", "-B", ORX_TESTS_DIR "/support/tls_proxy.py",
                   (directory / "proxy.pem").string(), std::to_string(server_.port())});
  auto configuration = server_.configurationFor({});
  configuration.setProxy("https://127.0.0.1:" + overTLS.readLine());
  const auto get = [&](const std::string& url) {
    return orx::testing::call(configuration, getRequest(url));
  };
  EXPECT_EQ(get("https://one.example/").text(), "GET ");
  const Outcome lost = get("https://one.example/short");
  EXPECT_EQ(server_.connectionCount(), 1U);
  EXPECT_EQ(lost.errorCode(), NSURLErrorNetworkConnectionLost);
  EXPECT_THAT(lost.error->localizedDescription(), HasSubstr("the whole answer of one.example: "));
}

}  // namespace
}  // namespace orx::testing
