// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include "devserver/ServiceClient.h"

namespace orx::testing {
namespace {

class UserData : public ::testing::Test {
 protected:
  UserData() { service_.start(); }
  ServiceClient client() const { return ServiceClient(service_); }

  // The escaped document of a user with this nick name, which is given as it stands between the
  // quotes of a JSON text.
  std::string documentWithNickName(const std::string& json) {
    const std::string parameters =
        R"({"login":"a@orva.example","passwd":"correct horse","nick_name":")" + json + R"("})";
    client().call("w000000012", parameters);
    const std::string ticket = ticketIn(client().call("w000000011", parameters).body);
    return client().call("sso0000004", R"({"Ticket":")" + ticket + R"("})").element("ReturnData");
  }

  DevelopmentService service_;
};

TEST_F(UserData, EscapesLineBreaksSoThatTheDocumentStaysOnOneLine) {
  EXPECT_NE(documentWithNickName(R"(a\nb\rc)")
                .find("&lt;nick_name&gt;a&amp;#10;b&amp;#13;c&lt;/nick_name&gt;"),
            std::string::npos);
}

TEST_F(UserData, ReplacesWhatXMLCannotSay) {
  EXPECT_NE(documentWithNickName(R"(a\u0001b\uffff)")
                .find("&lt;nick_name&gt;a\uFFFDb\uFFFD&lt;/nick_name&gt;"),
            std::string::npos);
}

TEST_F(UserData, LeavesEmptyFieldsAndTheTicketOut) {
  const std::string document = documentWithNickName("");
  EXPECT_NE(document.find("&lt;login&gt;"), std::string::npos);
  EXPECT_EQ(document.find("nick_name"), std::string::npos);
  EXPECT_EQ(document.find("ticket"), std::string::npos);
}

TEST_F(UserData, AnswersInTheEnvelopeOfTheQuestion) {
  const auto eleven =
      client().post(globalURL("/ws/OrvaService.asmx"),
                    soap11HeaderEnvelope({}, "sso0000004", R"({"Ticket":"x"})"), "text/xml");
  EXPECT_EQ(eleven.contentType, "text/xml; charset=utf-8");
  EXPECT_NE(eleven.body.find("<soap:Body>"), std::string::npos);
  const auto twelve = client().call("sso0000004", R"({"Ticket":"x"})");
  EXPECT_EQ(twelve.contentType, "application/soap+xml; charset=utf-8");
  EXPECT_NE(twelve.body.find("<soap12:Body>"), std::string::npos);
}

TEST_F(UserData, FaultsAMalformedEnvelopeAsItsVersionAsks) {
  const auto twelve = client().call("sso0000004", R"({"Ticket":"<&"})");
  EXPECT_EQ(twelve.status, 400);
  EXPECT_NE(twelve.body.find("<soap12:Value>soap12:Sender</soap12:Value>"), std::string::npos);
  const auto eleven = client().call("sso0000006", R"({"Ticket":"<&"})");
  EXPECT_EQ(eleven.status, 500);
  EXPECT_NE(eleven.body.find("<faultcode>soap:Client</faultcode>"), std::string::npos);
}

TEST_F(UserData, KnowsTheOperationsOfItsOwnEndpointOnly) {
  const auto wrongDoor = client().post(globalURL("/ws/OrvaService.asmx"),
                                       soap11HeaderEnvelope({}, "w000000011", "{}"), "text/xml");
  EXPECT_EQ(wrongDoor.element("ResultDesc"), "ApiID Error");
  EXPECT_NE(wrongDoor.element("ResultCode"), "0");
}

TEST_F(UserData, ListsAreOnOneLineAndFreeOfMarkup) {
  for (const char* list : {"country", "profession", "education"}) {
    const auto reply = client().call("secure0003", std::string(R"({"Para":")") + list + R"("})");
    const std::string data = reply.element("ReturnData");
    EXPECT_EQ(data.find_first_of("&<>\n\r"), std::string::npos) << list;
    EXPECT_EQ(data.front(), '[');
    EXPECT_EQ(data.back(), ']');
  }
  const auto countries = client().call("secure0003", R"({"Para":"country"})").element("ReturnData");
  EXPECT_NE(countries.find(R"({"abbr":"TWN","name":"Taiwan"})"), std::string::npos);
  EXPECT_NE(countries.find(R"({"abbr":"CHN","name":"China"})"), std::string::npos);
}

}  // namespace
}  // namespace orx::testing
