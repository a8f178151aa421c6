// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include "devserver/ServiceClient.h"

namespace orx::testing {
namespace {

class SignIn : public ::testing::Test {
 protected:
  SignIn() { service_.start(); }
  ServiceClient client() const { return ServiceClient(service_); }

  DevelopmentService service_;
};

TEST_F(SignIn, GivesATicketOfItsOwnEachTimeAndAllOfThemWork) {
  const std::string first = ticketOfNewAccount(client());
  const std::string second = ticketOfNewAccount(client());
  EXPECT_NE(first, second);
  for (const std::string& ticket : {first, second}) {
    const auto reply = client().call("sso0000004", R"({"Ticket":")" + ticket + R"("})");
    EXPECT_EQ(reply.element("ResultCode"), "0");
  }
}

TEST_F(SignIn, FindsTheLoginInAnyLetterCase) {
  ticketOfNewAccount(client(), "Ada@Orva.example");
  const auto reply =
      client().call("w000000011", R"({"login":"aDA@orva.EXAMPLE","passwd":"correct horse"})");
  EXPECT_EQ(reply.element("ResultCode"), "1");
  EXPECT_NE(reply.body.find(R"("login":"Ada@Orva.example")"), std::string::npos);
}

TEST_F(SignIn, KeepsItsRecordOnOneLineWhateverTheUserTyped) {
  client().call("w000000012",
                R"({"login":"a@orva.example","passwd":"correct horse","nick_name":)"
                R"("\n\r\u000b\u0085\u2028\u2029\u0001\u007f\uffff \u003c/ReturnData\u003e"})");
  const auto reply =
      client().call("w000000011", R"({"login":"a@orva.example","passwd":"correct horse"})");
  EXPECT_NE(reply.body.find(R"("nick_name":"\n\r\u000b\u0085\u2028\u2029\u0001\u007f\uffff )"
                            R"(\u003c/ReturnData\u003e")"),
            std::string::npos)
      << reply.body;
}

TEST_F(SignIn, WithOpenIDFindsTheSameAccountAgain) {
  const std::string who = R"({"openid_type":"lighthouse","openid_uid":"77"})";
  const auto first = client().call("w000000019", who);
  const auto second = client().call("w000000019", who);
  EXPECT_NE(first.body.find("C00001001"), std::string::npos);
  EXPECT_NE(second.body.find("C00001001"), std::string::npos);
}

TEST_F(SignIn, WithOpenIDTellsIdentitiesApartByLetterCase) {
  client().call("w000000019", R"({"openid_type":"lighthouse","openid_uid":"ab"})");
  const auto other =
      client().call("w000000019", R"({"openid_type":"lighthouse","openid_uid":"AB"})");
  EXPECT_NE(other.body.find("C00001002"), std::string::npos);
}

TEST_F(SignIn, WithOpenIDTellsIdentitiesApartWhereverTheirColonsAre) {
  const char* identities[] = {R"({"openid_type":"a","openid_uid":"b:c"})",
                              R"({"openid_type":"a:b","openid_uid":"c"})",
                              R"({"openid_type":"a%3ab","openid_uid":"c"})"};
  for (int round = 0; round < 2; ++round) {
    int number = 1001;
    for (const char* identity : identities) {
      const auto reply = client().call("w000000019", identity);
      EXPECT_NE(reply.body.find("C0000" + std::to_string(number++)), std::string::npos)
          << identity << reply.body;
    }
  }
}

TEST_F(SignIn, WithAPasswordIsClosedToALinkedAccount) {
  client().call("w000000019", R"({"openid_type":"lighthouse","openid_uid":"77"})");
  for (const char* password : {"", "correct horse"}) {
    const auto reply = client().call(
        "w000000011", std::string(R"({"login":"lighthouse:77","passwd":")") + password + R"("})");
    EXPECT_EQ(reply.element("ResultDesc"), "password error");
  }
}

TEST_F(SignIn, SharesTheAccountsAmongBothServerSets) {
  ticketOfNewAccount(client());
  const auto reply =
      client().post(chinaURL("/ws/lumcusinfo.asmx"),
                    paraJsonEnvelope({}, "w000000011",
                                     R"({"login":"ada@orva.example","passwd":"correct horse"})"),
                    "text/xml; charset=utf-8");
  EXPECT_EQ(reply.element("ResultCode"), "1");
}

TEST_F(SignIn, AcceptsFurtherApplications) {
  DevelopmentService service;
  service.start({.applications = {{"one", "first"}, {"two", "second"}}});
  const ServiceClient other(service);
  EXPECT_EQ(
      other.call("secure0003", R"({"Para":"country"})", {"two", "second"}).element("ResultCode"),
      "0");
  EXPECT_EQ(
      other.call("secure0003", R"({"Para":"country"})", {"two", "first"}).element("ResultDesc"),
      "AppKey Error");
}

TEST_F(SignIn, ThroughTheJSONInterfaceIsServedByTheGlobalHostOnly) {
  const std::string body =
      R"({"AppID":"demo-app","AppKey":"demo-key","OpenID_Type":"lighthouse","openid_uid":"1"})";
  EXPECT_EQ(client().post(chinaURL("/api/OpenIdApi/Register"), body, "application/json").status,
            404);
  const auto global = client().post(globalURL("/api/OpenIdApi/Register"), body, "application/json");
  EXPECT_EQ(global.status, 200);
  EXPECT_EQ(global.body.find(R"({"Status":0,)"), 0U);
  EXPECT_EQ(client().get(globalURL("/api/OpenIdApi/Login")).status, 405);
}

TEST_F(SignIn, ReadsAnUpdatedProfile) {
  const std::string ticket = ticketOfNewAccount(client());
  client().call("w000000014",
                R"({"ticket":")" + ticket + R"(","city":"Taipei","nick_name":"Addie"})");
  auto reply = client().call("w000000013", R"({"ticket":")" + ticket + R"("})");
  EXPECT_NE(reply.body.find(R"("nick_name":"Addie")"), std::string::npos);
  EXPECT_NE(reply.body.find(R"("city":"Taipei")"), std::string::npos);
  client().call("w000000014", R"({"ticket":")" + ticket + R"(","city":""})");
  reply = client().call("w000000013", R"({"ticket":")" + ticket + R"("})");
  EXPECT_EQ(reply.body.find("city"), std::string::npos);
  EXPECT_EQ(client().call("w000000014", R"({"ticket":"none"})").element("ResultDesc"),
            "Ticket Error");
}

}  // namespace
}  // namespace orx::testing
