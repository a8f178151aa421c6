// SPDX-License-Identifier: MIT
#include <curl/curl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdint>
#include <fstream>
#include <stdexcept>
#include <thread>
#include <vector>

#include "devserver/FileContent.h"
#include "devserver/ServiceClient.h"
#include "support/Await.h"
#include "support/TemporaryDirectory.h"
#include "support/ThreadCount.h"

namespace orx::testing {
namespace {

using devserver::contentOf;

TEST(DevelopmentService, KeepsAccountsAndTicketsInItsFileOverARestart) {
  const TemporaryDirectory directory;
  std::string ticket;
  {
    DevelopmentService service;
    service.start({.database = directory / "accounts.db"});
    ticket = ticketOfNewAccount(ServiceClient(service));
  }
  DevelopmentService service;
  service.start({.database = directory / "accounts.db"});
  const ServiceClient client(service);
  EXPECT_EQ(client.call("sso0000004", R"({"Ticket":")" + ticket + R"("})").element("ResultCode"),
            "0");
  EXPECT_EQ(client.call("w000000011", R"({"login":"ada@orva.example","passwd":"correct horse"})")
                .element("ResultCode"),
            "1");
  // The next account gets the number after the last one's.
  EXPECT_EQ(client.call("w000000012", R"({"login":"bo@orva.example","passwd":"correct horse"})")
                .element("ReturnData"),
            "C00001002");
}

TEST(DevelopmentService, StoresNoPassword) {
  const TemporaryDirectory directory;
  DevelopmentService service;
  service.start({.database = directory / "accounts.db"});
  ticketOfNewAccount(ServiceClient(service));
  service.stop();
  const std::string stored = contentOf(directory / "accounts.db");
  EXPECT_NE(stored.find("ada@orva.example"), std::string::npos);
  EXPECT_EQ(stored.find("correct horse"), std::string::npos);
}

TEST(DevelopmentService, RefusesADatabaseThatIsNone) {
  const TemporaryDirectory directory;
  std::ofstream(directory / "accounts.db") << std::string(4096, 'x');
  DevelopmentService service;
  EXPECT_THROW(service.start({.database = directory / "accounts.db"}), std::runtime_error);
  EXPECT_THROW(service.start({.database = directory / "missing" / "a.db"}), std::runtime_error);
}

TEST(DevelopmentService, AnswersAFaultWhenItsDatabaseFails) {
  const TemporaryDirectory directory;
  DevelopmentService service;
  service.start({.database = directory / "accounts.db"});
  const ServiceClient client(service);
  ASSERT_FALSE(ticketOfNewAccount(client).empty());
  {
    std::ofstream damage(directory / "accounts.db", std::ios::binary | std::ios::trunc);
    damage << std::string(8192, 'x');
  }
  const auto reply = client.call("w000000011", R"({"login":"a","passwd":"b"})");
  EXPECT_EQ(reply.status, 500);
  EXPECT_NE(reply.body.find("<faultcode>soap:Server</faultcode>"), std::string::npos);
}

TEST(DevelopmentService, RefusesAPortThatIsTaken) {
  DevelopmentService first;
  first.start();
  DevelopmentService second;
  try {
    second.start({.port = first.port()});
    FAIL() << "two services share a port";
  } catch (const std::runtime_error& problem) {
    EXPECT_EQ(problem.what(), "cannot listen on 127.0.0.1 port " + std::to_string(first.port()) +
                                  ": Address already in use");
  }
  EXPECT_EQ(ServiceClient(first).get(globalURL("/")).status, 200);
}

TEST(DevelopmentService, ListensAgainOnThePortItHad) {
  int port = 0;
  {
    DevelopmentService service;
    service.start();
    port = service.port();
    ServiceClient(service).get(globalURL("/"));
  }
  DevelopmentService service;
  service.start({.port = port});
  EXPECT_EQ(service.port(), port);
  EXPECT_EQ(ServiceClient(service).get(globalURL("/")).status, 200);
}

TEST(DevelopmentService, ListensWhereItIsTold) {
  DevelopmentService everywhere;
  everywhere.start({.address = "0.0.0.0"});
  EXPECT_EQ(ServiceClient(everywhere).get(globalURL("/")).status, 200);
  DevelopmentService elsewhere;
  elsewhere.start({.address = "127.0.0.2"});
  EXPECT_EQ(ServiceClient(elsewhere).get(globalURL("/")).transport, CURLE_COULDNT_CONNECT);
  DevelopmentService nowhere;
  EXPECT_THROW(nowhere.start({.address = "localhost"}), std::runtime_error);
}

TEST(DevelopmentService, AnswersForTheHostsThatItIsTold) {
  DevelopmentService service;
  service.start({.globalHost = "Account.Example.org", .chinaHost = "cn.example.org"});
  EXPECT_EQ(service.hosts(), (std::vector<std::string>{"account.example.org", "cn.example.org"}));
  const ServiceClient client(service);
  EXPECT_EQ(client.get("https://account.example.org/").status, 200);
  EXPECT_EQ(client.get("https://cn.example.org/").status, 200);
  EXPECT_EQ(client.get(globalURL("/")).transport, CURLE_PEER_FAILED_VERIFICATION);
  DevelopmentService other;
  EXPECT_THROW(other.start({.globalHost = "a,DNS:b"}), std::invalid_argument);
}

TEST(DevelopmentService, RunsTwiceInAProcessAndLeavesNoThreadNorDescriptor) {
  const auto descriptors = [] {
    const std::filesystem::directory_iterator all("/proc/self/fd");
    return std::distance(begin(all), end(all));
  };
  // What libcurl and OpenSSL open once for the process.
  {
    DevelopmentService first;
    first.start();
    ServiceClient(first).get(globalURL("/"));
  }
  const auto threadsBefore = threadCount();
  const auto descriptorsBefore = descriptors();
  const TemporaryDirectory directory;
  {
    DevelopmentService one;
    DevelopmentService two;
    one.start({.control = directory / "one"});
    two.start({.log = directory / "log", .control = directory / "two"});
    ticketOfNewAccount(ServiceClient(one));
    EXPECT_EQ(ServiceClient(two).get(globalURL("/")).status, 200);
    EXPECT_EQ(one.requestCount("/"), 0U);
    EXPECT_EQ(two.requestCount("/"), 1U);
    EXPECT_GT(threadCount(), threadsBefore);
  }
  EXPECT_EQ(descriptors(), descriptorsBefore);
  EXPECT_TRUE(eventually([&] { return threadCount() == threadsBefore; }));
}

// The signals that each thread but this one blocks, as the system shows them.
std::vector<std::uint64_t> blockedByOtherThreads() {
  std::vector<std::uint64_t> blocked;
  for (const auto& thread : std::filesystem::directory_iterator("/proc/self/task")) {
    if (thread.path().filename() == std::to_string(gettid())) continue;
    const std::string status = contentOf(thread.path() / "status");
    blocked.push_back(std::stoull(status.substr(status.find("SigBlk:") + 7), nullptr, 16));
  }
  return blocked;
}

TEST(DevelopmentService, LeavesTheSignalsOfTheProcessAlone) {
  struct sigaction before {};
  ASSERT_EQ(sigaction(SIGPIPE, nullptr, &before), 0);
  const auto others = blockedByOtherThreads().size();
  DevelopmentService service;
  service.start();
  struct sigaction after {};
  ASSERT_EQ(sigaction(SIGPIPE, nullptr, &after), 0);
  EXPECT_EQ(after.sa_handler, before.sa_handler);
  const auto blocked = blockedByOtherThreads();
  EXPECT_GT(blocked.size(), others);
  for (const std::uint64_t signals : blocked) {
    for (const int signal : {SIGPIPE, SIGTERM, SIGUSR1}) {
      EXPECT_NE(signals & (std::uint64_t{1} << (signal - 1)), 0U) << signal;
    }
  }
}

TEST(DevelopmentService, SaysWhatIsToBeDoneFirst) {
  DevelopmentService service;
  EXPECT_THROW(service.port(), std::logic_error);
  EXPECT_THROW(service.reset(), std::logic_error);
}

TEST(DevelopmentService, IsTrustedByItsOwnAuthorityOnly) {
  DevelopmentService service;
  service.start();
  DevelopmentService other;
  other.start();
  EXPECT_NE(service.caCertificate(), other.caCertificate());
  const ServiceClient stranger(service.port(), other.caCertificate());
  EXPECT_EQ(stranger.get(globalURL("/")).transport, CURLE_PEER_FAILED_VERIFICATION);
}

TEST(DevelopmentService, KnowsCallsInTheNamespaceThatItWasGivenAlone) {
  DevelopmentService service;
  service.start({.serviceNamespace = "urn:x-example:service"});
  const ServiceClient client(service);
  const std::string call = paraJsonEnvelope({}, "w000000015", R"({"login":"a"})");
  const auto post = [&](const std::string& body) {
    return client.post(globalURL("/ws/lumcusinfo.asmx"), body, "text/xml; charset=utf-8");
  };
  EXPECT_EQ(post(call).status, 500);
  std::string renamed = call;
  const std::string written = "https://account.orva.example/";
  renamed.replace(renamed.find(written), written.size(), "urn:x-example:service");
  const Reply reply = post(renamed);
  EXPECT_EQ(reply.status, 200);
  EXPECT_NE(reply.body.find(R"(<callResponse xmlns="urn:x-example:service">)"), std::string::npos);
}

TEST(DevelopmentService, UsesAKeptAuthority) {
  const TemporaryDirectory directory;
  std::string kept;
  {
    DevelopmentService first;
    first.start({.caOut = directory / "kept.pem", .caKeyOut = directory / "kept.key"});
    kept = first.caCertificate();
  }
  DevelopmentService service;
  service.start({.caCertificate = directory / "kept.pem",
                 .caKey = directory / "kept.key",
                 .caOut = directory / "ca.pem"});
  EXPECT_EQ(contentOf(directory / "ca.pem"), kept);
  EXPECT_EQ(ServiceClient(service.port(), kept).get(globalURL("/")).status, 200);
}

TEST(DevelopmentService, TakesItsPrivateDirectoryAwayWithIt) {
  std::filesystem::path file;
  {
    DevelopmentService service;
    service.start();
    file = service.caFile();
    EXPECT_EQ(contentOf(file), service.caCertificate());
    struct stat directory {};
    ASSERT_EQ(stat(file.parent_path().c_str(), &directory), 0);
    EXPECT_EQ(directory.st_mode & 0777U, 0700U);
  }
  EXPECT_FALSE(std::filesystem::exists(file.parent_path()));
}

TEST(DevelopmentService, CountsByApiIDByPathAndByHost) {
  DevelopmentService service;
  service.start();
  const ServiceClient client(service);
  client.call("w000000011", "{}");
  client.call("w000000011", "{}");
  client.get(chinaURL("/"));
  EXPECT_EQ(service.requestCount("w000000011"), 2U);
  EXPECT_EQ(service.requestCount("/"), 1U);
  EXPECT_EQ(service.requestCount("w000000012"), 0U);
  EXPECT_EQ(service.requestCountOfHost(ORX_TEST_GLOBAL_HOST), 2U);
  EXPECT_EQ(service.requestCountOfHost(ORX_TEST_CHINA_HOST), 1U);
}

TEST(DevelopmentService, ServesManyAtOnce) {
  DevelopmentService service;
  service.start();
  std::vector<std::thread> clients;
  clients.reserve(16);
  for (int i = 0; i < 16; ++i) {
    clients.emplace_back([&service, i] {
      const ServiceClient client(service);
      const std::string login = "user" + std::to_string(i) + "@orva.example";
      const std::string ticket = ticketOfNewAccount(client, login);
      const auto reply = client.call("sso0000004", R"({"Ticket":")" + ticket + R"("})");
      EXPECT_NE(reply.body.find("&lt;login&gt;" + login + "&lt;/login&gt;"), std::string::npos);
    });
  }
  for (std::thread& client : clients) client.join();
  EXPECT_EQ(service.requestCount("sso0000004"), 16U);
}

TEST(DevelopmentService, KeepsAConnectionForManyRequests) {
  DevelopmentService service;
  service.start();
  EXPECT_EQ(ServiceClient(service).connectionsFor(globalURL("/"), 200), 1);
}

TEST(DevelopmentService, CanBeStoppedTwiceAndWithoutAStart) {
  DevelopmentService service;
  service.stop();
  service.start();
  EXPECT_THROW(service.start(), std::logic_error);
  service.stop();
  service.stop();
  EXPECT_NE(ServiceClient(service).get(globalURL("/")).transport, 0);
}

TEST(DevelopmentService, RefusesABodyBeyondItsCeiling) {
  DevelopmentService service;
  service.start();
  const auto reply = ServiceClient(service).post(globalURL("/ws/lumcusinfo.asmx"),
                                                 std::string(5u << 20, ' '), "text/xml");
  EXPECT_TRUE(reply.status == 413 || reply.transport != CURLE_OK) << reply.status;
  EXPECT_EQ(service.requestCount("/ws/lumcusinfo.asmx"), 0U);
}

}  // namespace
}  // namespace orx::testing
