// SPDX-License-Identifier: MIT
#include <ORXAccount/ORVAAccount.h>
#include <ORXAccount/ORVAAccountConstants.h>
#include <ORXAccount/ORVAAccountUser.h>

#include "service/SOAPCall.h"
#include "support/AccountServiceFixture.h"
#include "support/Operations.h"

namespace orx {
namespace {

using namespace orx::testing;
using service::soap11_header_request_pattern;

const std::string kOwnNamespace = "urn:x-example:service";

// A host whose service is none of those that the library was built for.
class HostsServers : public ::testing::Test {
 protected:
  HostsServers() {
    ORVAAccount::setServersWithGlobalHost_chinaHost_developmentHost_serviceNamespace(
        "one.example", "two.example", std::nullopt, kOwnNamespace);
    URLSessionConfiguration::setDefaultConfiguration(server_.configuration());
  }

  TLSTestServer::Request requestOf(const Operation& operation) {
    Event reported;
    operation.start(*api_, Dictionary{{"Ticket", "T"}},
                    [&](const auto&, const auto&) { reported.set(); });
    EXPECT_TRUE(reported.wait());
    return server_.requests().back();
  }

  const ORVAAccountAPI& api() const { return *api_; }

 private:
  TLSTestServer server_{{"one.example", "two.example"},
                        TLSTestServer::Answer::reply(200, "nothing")};
  const std::shared_ptr<ORVAAccountAPI> api_ =
      ORVAAccountAPI::initWithOptions({{"AppID", "my-app"}, {"AppKey", "my-key"}});
};

TEST_F(HostsServers, AreCalledInTheHostsNamespace) {
  struct Row {
    Operation operation;
    service::SOAPCall call;
  };
  const std::vector<Row> rows{
      {kCommon, {lumcusinfo_asmx_pattern, {}, "w1", R"({"Ticket":"T"})"}},
      {kUserData, {soap12_request_pattern, {}, "sso0000004", R"({"Ticket":"T"})"}},
      {kWebSSO, {soap11_header_request_pattern, {}, "sso0000006", R"({"Ticket":"T"})"}},
      {kList, {soap11_header_request_pattern, {}, "secure0003", R"({"Para":"country"})"}}};
  for (const auto& [operation, call] : rows) {
    SCOPED_TRACE(operation.name);
    const auto request = requestOf(operation);
    EXPECT_EQ(request.serverName, "one.example");
    std::string body = request.body;
    std::size_t count = 0;
    for (std::size_t at = 0; (at = body.find(kOwnNamespace)) != std::string::npos; ++count) {
      body.replace(at, kOwnNamespace.size(), ORX_TEST_NAMESPACE);
    }
    EXPECT_EQ(count, operation.name == kCommon.name ? 1U : 2U);
    EXPECT_EQ(body, service::filledEnvelope(call, {api().appID(), api().appKey()}));
  }
}

TEST_F(HostsServers, AreCalledByTheTargetServerFlag) {
  ORVAAccountAPI::setTargetServerWithIsCN(true);
  EXPECT_EQ(requestOf(kLogin).serverName, "two.example");
  EXPECT_EQ(requestOf(kLoginV2).serverName, "one.example");
}

TEST_F(HostsServers, HavePicturesToo) {
  const auto pictureOf = [](const char* country) {
    return ORVAAccountUser::initWithUserInfo(Dictionary{{"country", country}, {"pic", "p"}})
        ->pictureURL()
        ->host();
  };
  EXPECT_EQ(pictureOf("DEU"), "one.example");
  EXPECT_EQ(pictureOf("CHN"), "two.example");
}

}  // namespace
}  // namespace orx
