// SPDX-License-Identifier: MIT
#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <unistd.h>

#include <vector>

#include "devserver/ServiceClient.h"

namespace orx::testing {
namespace {

class Limits : public ::testing::Test {
 protected:
  Limits() { service_.start(); }
  std::string answerTo(const std::string& request) const {
    return ServiceClient(service_).exchange(request);
  }

  DevelopmentService service_;
};

std::string repeated(const std::string& text, std::size_t count) {
  std::string all;
  for (std::size_t i = 0; i < count; ++i) all += text;
  return all;
}

TEST_F(Limits, EndAConnectionWhoseHeaderFieldsAreTooMany) {
  const std::string start = "GET / HTTP/1.1\r\nHost: localhost\r\nConnection: close\r\n";
  EXPECT_TRUE(answerTo(start + repeated("a: b\r\n", 1000) + "\r\n").starts_with("HTTP/1.1 200"));
  EXPECT_EQ(answerTo(start + repeated("a: b\r\n", 100'000) + "\r\n"), "");
}

TEST_F(Limits, EndAConnectionWhoseBodyInChunksIsTooLarge) {
  const std::string start =
      "POST /ws/lumcusinfo.asmx HTTP/1.1\r\nHost: localhost\r\nConnection: close\r\n"
      "Transfer-Encoding: chunked\r\n\r\n";
  const std::string chunk = "10000\r\n" + std::string(0x10000, ' ') + "\r\n";
  EXPECT_TRUE(answerTo(start + chunk + "0\r\n\r\n").starts_with("HTTP/1.1 500"));
  EXPECT_EQ(answerTo(start + repeated(chunk, 200) + "0\r\n\r\n"), "");
}

TEST_F(Limits, KeepTheHostHeaderOutOfAddresses) {
  const std::string ticket = ticketOfNewAccount(ServiceClient(service_));
  const std::string body =
      soap11HeaderEnvelope({}, "sso0000006", R"({"ticket":")" + ticket + "\"}");
  const auto answerFor = [&](const std::string& host) {
    return answerTo("POST /ws/OrvaService.asmx HTTP/1.1\r\nHost: " + host +
                    "\r\nConnection: close\r\nContent-Type: text/xml\r\nContent-Length: " +
                    std::to_string(body.size()) + "\r\n\r\n" + body);
  };
  EXPECT_NE(answerFor("localhost").find("https://localhost/sso/"), std::string::npos);
  EXPECT_NE(answerFor("LocalHost:8443").find("https://localhost:8443/sso/"), std::string::npos);
  for (const char* host : {"localhost:@evil.example", "localhost:1/evil", "localhost:",
                           "localhost:0", "localhost:65536", "localhost:44x", "evil.example"}) {
    const std::string answer = answerFor(host);
    EXPECT_EQ(answer.find("/sso/"), std::string::npos) << host;
    EXPECT_TRUE(answer.starts_with("HTTP/1.1 4")) << host << answer;
  }
}

// A connection to the port that sends nothing, as a client that waits does.
int silentConnection(int port) {
  const int connection = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(static_cast<std::uint16_t>(port));
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  if (connect(connection, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0) return -1;
  return connection;
}

TEST_F(Limits, EndConnectionsBeyondFiveHundredAndTwelve) {
  rlimit files{};
  getrlimit(RLIMIT_NOFILE, &files);
  files.rlim_cur = std::min<rlim_t>(files.rlim_max, 4096);
  setrlimit(RLIMIT_NOFILE, &files);
  constexpr int allowed = 512;
  std::vector<pollfd> connections;
  for (int i = 0; i < allowed; ++i) {
    connections.push_back({silentConnection(service_.port()), POLLIN, 0});
    ASSERT_GE(connections.back().fd, 0);
  }
  // Each has a thread of its own, so any of them may be the one that is beyond the limit.
  connections.push_back({silentConnection(service_.port()), POLLIN, 0});
  constexpr int untilSilenceItselfEndsThem = 20'000;
  EXPECT_EQ(poll(connections.data(), connections.size(), untilSilenceItselfEndsThem), 1);
  for (const pollfd& connection : connections) close(connection.fd);
  service_.stop();
}

}  // namespace
}  // namespace orx::testing
