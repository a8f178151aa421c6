#include <curl/curl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <fstream>
#include <stdexcept>
#include <thread>
#include <vector>

#include "devserver/ServiceClient.h"
#include "support/TemporaryDirectory.h"

namespace orx::testing {
namespace {

using orx::devserver::CertificateAuthority;
using orx::devserver::DevelopmentService;
using orx::devserver::DevelopmentServiceOptions;

std::string contentOf(const std::filesystem::path& path) {
  std::ifstream file(path);
  return std::string((std::istreambuf_iterator<char>(file)), {});
}

DevelopmentServiceOptions withDatabase(const std::filesystem::path& path) {
  DevelopmentServiceOptions options;
  options.database = path;
  return options;
}

TEST(DevelopmentService, KeepsAccountsAndTicketsInItsFileOverARestart) {
  const TemporaryDirectory directory;
  std::string ticket;
  {
    DevelopmentService service;
    service.start(withDatabase(directory / "accounts.db"));
    ticket = ticketOfNewAccount(ServiceClient(service));
  }
  DevelopmentService service;
  service.start(withDatabase(directory / "accounts.db"));
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
  service.start(withDatabase(directory / "accounts.db"));
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
  EXPECT_THROW(service.start(withDatabase(directory / "accounts.db")), std::runtime_error);
  EXPECT_THROW(service.start(withDatabase(directory / "missing" / "a.db")), std::runtime_error);
}

TEST(DevelopmentService, AnswersAFaultWhenItsDatabaseFails) {
  const TemporaryDirectory directory;
  DevelopmentService service;
  service.start(withDatabase(directory / "accounts.db"));
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
  DevelopmentServiceOptions options;
  options.port = first.port();
  DevelopmentService second;
  EXPECT_THROW(second.start(std::move(options)), std::runtime_error);
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
  DevelopmentServiceOptions options;
  options.port = port;
  DevelopmentService service;
  service.start(std::move(options));
  EXPECT_EQ(service.port(), port);
  EXPECT_EQ(ServiceClient(service).get(globalURL("/")).status, 200);
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
  DevelopmentServiceOptions options;
  options.serviceNamespace = "urn:x-example:service";
  DevelopmentService service;
  service.start(std::move(options));
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
  const auto kept = CertificateAuthority::generate();
  const TemporaryDirectory directory;
  DevelopmentServiceOptions options;
  options.certificateAuthority =
      CertificateAuthority::fromPEM(kept.certificatePEM(), kept.privateKeyPEM());
  options.caOut = directory / "ca.pem";
  DevelopmentService service;
  service.start(std::move(options));
  EXPECT_EQ(contentOf(directory / "ca.pem"), kept.certificatePEM());
  EXPECT_EQ(ServiceClient(service.port(), kept.certificatePEM()).get(globalURL("/")).status, 200);
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
