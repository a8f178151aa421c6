// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include "devserver/SSOTokens.h"
#include "devserver/ServiceClient.h"

namespace orx::testing {
namespace {

class WebPages : public ::testing::Test {
 protected:
  WebPages() { service_.start(); }
  ServiceClient client() const { return ServiceClient(service_); }

  std::string linkFor(const std::string& ticket) const {
    return client().call("sso0000006", R"({"ticket":")" + ticket + R"("})").element("ReturnData");
  }

  DevelopmentService service_;
};

TEST_F(WebPages, AnSSOLinkShowsOnceWhoIsSignedIn) {
  const std::string link = linkFor(ticketOfNewAccount(client()));
  const auto first = client().get(link);
  EXPECT_EQ(first.status, 200);
  EXPECT_EQ(first.contentType, "text/html; charset=utf-8");
  EXPECT_EQ(first.headers.at("cache-control"), "no-store");
  EXPECT_NE(first.body.find("<dt>Login</dt><dd>ada@orva.example</dd>"), std::string::npos);
  EXPECT_NE(first.body.find("<dt>Customer number</dt><dd>C00001001</dd>"), std::string::npos);
  EXPECT_NE(first.body.find("src=\"/utilities/pic.ashx?s=medium&amp;f=C00001001.jpg\""),
            std::string::npos);
  EXPECT_EQ(client().get(link).status, 410);
}

TEST_F(WebPages, LookingAtAnSSOLinkDoesNotSpendIt) {
  const std::string link = linkFor(ticketOfNewAccount(client()));
  EXPECT_EQ(client().send("HEAD", link, "", "").status, 200);
  EXPECT_EQ(client().get(link).status, 200);
}

TEST_F(WebPages, AnSSOLinkStaysOnTheHostThatWasAsked) {
  const std::string ticket = ticketOfNewAccount(client());
  const auto reply = client().post(
      chinaURL("/ws/OrvaService.asmx"),
      soap11HeaderEnvelope({}, "sso0000006", R"({"Ticket":")" + ticket + R"("})"), "text/xml");
  EXPECT_EQ(reply.element("ReturnData").find(chinaURL("/sso/")), 0U);
}

TEST_F(WebPages, AnSSOLinkLeadsToTheServiceItselfWhenAsked) {
  DevelopmentService service;
  service.start({.linkHost = "links.example.org"});
  const ServiceClient client(service);
  const std::string ticket = ticketOfNewAccount(client);
  const std::string link =
      client.call("sso0000006", R"({"ticket":")" + ticket + "\"}").element("ReturnData");
  const std::string place = "https://links.example.org:" + std::to_string(service.port());
  EXPECT_EQ(link.find(place + "/sso/"), 0U) << link;
  EXPECT_EQ(client.get(link).status, 200);
}

TEST_F(WebPages, ShowWhatAUserTypedAsText) {
  const auto typed = R"({"login":"a@orva.example","passwd":"correct horse","nick_name":)"
                     R"("\u003cscript\u003ealert(1)\u003c/script\u003e\" onerror=\"x"})";
  client().call("w000000012", typed);
  const auto signedIn = client().call("w000000011", typed);
  const auto page = client().get(linkFor(ticketIn(signedIn.body)));
  EXPECT_EQ(page.status, 200);
  EXPECT_EQ(page.body.find("<script"), std::string::npos);
  EXPECT_NE(page.body.find("alt=\"Picture of &lt;script&gt;alert(1)&lt;/script&gt;&quot; "
                           "onerror=&quot;x\">"),
            std::string::npos);
  EXPECT_NE(page.body.find("&lt;script&gt;"), std::string::npos);
  EXPECT_EQ(page.headers.at("content-security-policy").find("default-src 'none'"), 0U);
}

TEST_F(WebPages, SayWhatTheServerIs) {
  const auto page = client().get(globalURL("/"));
  EXPECT_EQ(page.status, 200);
  EXPECT_NE(page.body.find("Account service for development"), std::string::npos);
  EXPECT_EQ(client().get(globalURL("/nowhere")).status, 404);
  EXPECT_EQ(client().post(globalURL("/"), "x", "text/plain").status, 405);
  EXPECT_EQ(client().get(globalURL("/ws/lumcusinfo.asmx")).status, 405);
}

TEST_F(WebPages, AreForTheTwoServerSetsAndLocalhostOnly) {
  EXPECT_EQ(client().get(chinaURL("/")).status, 200);
  EXPECT_EQ(client().get("https://localhost/").status, 200);
  // The certificate does not name the development host.
  EXPECT_NE(client().get("https://" ORX_TEST_DEVELOPMENT_HOST "/").transport, 0);
}

TEST(SSOTokens, AreGoodOnceAndNotForever) {
  orx::devserver::SSOTokens lasting;
  const std::string token = lasting.issue(7);
  EXPECT_EQ(lasting.redeem(token), 7);
  EXPECT_EQ(lasting.redeem(token), std::nullopt);
  EXPECT_EQ(lasting.redeem("made up"), std::nullopt);
  orx::devserver::SSOTokens spent(std::chrono::seconds(0));
  EXPECT_EQ(spent.redeem(spent.issue(7)), std::nullopt);
}

}  // namespace
}  // namespace orx::testing
