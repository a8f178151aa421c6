// SPDX-License-Identifier: MIT
#include <ORXAccount/ORVAAccountConstants.h>

#include <algorithm>

#include "support/AccountServiceFixture.h"

namespace orx {
namespace {

using namespace orx::testing;

class SoapRequest : public AccountServiceFixture {
 protected:
  SoapRequest() { answerWith(soapAnswer(resultBlock("1", "OK", "Json", std::nullopt))); }

  const Dictionary parameters{{"login", "a@b.example"}, {"url", "https://x/y"}};
  const std::string parameterJSON = R"({"login":"a@b.example","url":"https:\/\/x\/y"})";
};

TEST_F(SoapRequest, CommonCallGoesToTheCustomerInfoEndpointWithOneContentType) {
  outcomeOf([&](auto handler) {
    api()->commonWithApiId_parameters_completionHandler("w000000099", parameters, handler);
  });
  const Request request = onlyRequest();
  EXPECT_EQ(request.method, "POST");
  EXPECT_EQ(request.target, "/ws/lumcusinfo.asmx");
  EXPECT_EQ(request.serverName, kGlobalHost);
  EXPECT_EQ(request.header("Host"), std::string(kGlobalHost));
  EXPECT_EQ(request.header("Content-Type"), "text/xml; charset=utf-8");
  EXPECT_EQ(request.header("SOAPAction"), std::nullopt);
  EXPECT_EQ(request.header("Expect"), std::nullopt);
  EXPECT_EQ(request.header("Cookie"), std::nullopt);
  EXPECT_EQ(std::ranges::count_if(request.headerFields,
                                  [](const auto& field) { return field.first == "Content-Type"; }),
            1);
  EXPECT_TRUE(request.body.starts_with(R"(<?xml version="1.0" encoding="utf-8"?><soap:Envelope )"));
  EXPECT_NE(request.body.find("2001 XMLSchema"), std::string::npos);
  EXPECT_EQ(between(request.body, "<AppID>", "</AppID>"), "my-app");
  EXPECT_EQ(between(request.body, "<AppKey>", "</AppKey>"), "my-key");
  EXPECT_EQ(between(request.body, "<ApiID>", "</ApiID>"), "w000000099");
  EXPECT_EQ(between(request.body, "<ParaJson>", "</ParaJson>"), parameterJSON);
}

TEST_F(SoapRequest, EachOperationHasItsOwnIdentifierTemplateAndEndpoint) {
  struct Row {
    std::function<void(ORVAAccountAPICompletionHandler)> start;
    std::string apiID;
    std::string path;
    std::string parameterElement;
    std::string envelope;
  };
  const std::vector<Row> rows{
      {[&](auto handler) { api()->register_completeHandler(parameters, handler); }, "w000000012",
       "/ws/lumcusinfo.asmx", "ParaJson", "soap:Envelope"},
      {[&](auto handler) { api()->login_completionHandler(parameters, handler); }, "w000000011",
       "/ws/lumcusinfo.asmx", "ParaJson", "soap:Envelope"},
      {[&](auto handler) { api()->loginOpenID_completionHandler(parameters, handler); },
       "w000000019", "/ws/lumcusinfo.asmx", "ParaJson", "soap:Envelope"},
      {[&](auto handler) {
         api()->apToWebSSOWithParameters_completionHandler(parameters, handler);
       },
       "sso0000006", "/ws/OrvaService.asmx", "Parameters", "soap:Envelope"},
      {[&](auto handler) { api()->getUserData_completionHandler(parameters, handler); },
       "sso0000004", "/ws/OrvaService.asmx", "Parameters", "soap12:Envelope"},
  };
  for (const Row& row : rows) {
    outcomeOf(row.start);
    const Request request = server().requests().back();
    EXPECT_EQ(request.method, "POST");
    EXPECT_EQ(request.target, row.path);
    EXPECT_EQ(request.header("Content-Type"), "text/xml; charset=utf-8");
    EXPECT_EQ(between(request.body, "<ApiID>", "</ApiID>"), row.apiID);
    EXPECT_EQ(
        between(request.body, "<" + row.parameterElement + ">", "</" + row.parameterElement + ">"),
        parameterJSON);
    EXPECT_EQ(request.body.find("AuthHeader") != std::string::npos,
              row.parameterElement == "Parameters");
    EXPECT_NE(request.body.find("?><" + row.envelope + " "), std::string::npos);
  }
}

TEST_F(SoapRequest, ParametersAreNotEscapedForXML) {
  outcomeOf([&](auto handler) {
    api()->login_completionHandler(Dictionary{{"login", "a&b<c>"}, {"passwd", "\"quoted\""}},
                                   handler);
  });
  EXPECT_EQ(between(onlyRequest().body, "<ParaJson>", "</ParaJson>"),
            R"({"login":"a&b<c>","passwd":"\"quoted\""})");
}

TEST_F(SoapRequest, AbsentCredentialsAreSentAsEmptyText) {
  const auto bare = ORVAAccountAPI::initWithOptions({});
  EXPECT_EQ(bare->appID(), std::nullopt);
  EXPECT_EQ(bare->appKey(), std::nullopt);
  outcomeOf([&](auto handler) { bare->login_completionHandler(parameters, handler); });
  EXPECT_NE(onlyRequest().body.find("<AppID></AppID><AppKey></AppKey>"), std::string::npos);
}

TEST_F(SoapRequest, EmptyParametersAreAnEmptyObject) {
  outcomeOf([&](auto handler) { api()->login_completionHandler(Dictionary(), handler); });
  EXPECT_EQ(between(onlyRequest().body, "<ParaJson>", "</ParaJson>"), "{}");
}

TEST_F(SoapRequest, TheFlagSendsLaterCallsToTheChinaServer) {
  EXPECT_FALSE(ORVAAccountAPI::targetServerIsCN());
  ORVAAccountAPI::setTargetServerWithIsCN(true);
  EXPECT_TRUE(ORVAAccountAPI::targetServerIsCN());
  outcomeOf([&](auto handler) { api()->login_completionHandler(parameters, handler); });
  outcomeOf([&](auto handler) {
    api()->apToWebSSOWithParameters_completionHandler(parameters, handler);
  });
  outcomeOf([&](auto handler) { api()->getUserData_completionHandler(parameters, handler); });
  outcomeOf([&](auto handler) { api()->countryListWithCompletionHandler(handler); });
  ORVAAccountAPI::setTargetServerWithIsCN(false);
  outcomeOf([&](auto handler) { api()->login_completionHandler(parameters, handler); });
  const auto requests = server().requests();
  ASSERT_EQ(requests.size(), 5U);
  for (std::size_t index = 0; index < 4; ++index) {
    EXPECT_EQ(requests[index].serverName, kChinaHost);
    EXPECT_EQ(requests[index].header("Host"), std::string(kChinaHost));
  }
  EXPECT_EQ(requests[4].serverName, kGlobalHost);
}

TEST_F(SoapRequest, ACallThatIsPendingKeepsItsServer) {
  // Shared with the server, whose thread may be inside when the test is over.
  const auto mayAnswer = std::make_shared<Event>();
  answerBy([mayAnswer](const Request& /*request*/) {
    EXPECT_TRUE(mayAnswer->wait());
    return Answer::reply(200, soapAnswer(resultBlock("1", "OK", "Json", "[{}]")));
  });
  const auto reports = std::make_shared<Mailbox<Report>>();
  api()->login_completionHandler(parameters, [reports](const auto& result, const auto& error) {
    reports->put({result, error});
  });
  ORVAAccountAPI::setTargetServerWithIsCN(true);
  mayAnswer->set();
  EXPECT_NE(reports->take().result, nullptr);
  EXPECT_EQ(onlyRequest().serverName, kGlobalHost);
}

TEST_F(SoapRequest, TwoCallsAtOnceMayEndInEitherOrder) {
  const auto first = std::make_shared<Event>();
  answerBy([first](const Request& request) {
    const bool isFirst = request.body.find(">one<") != std::string::npos;
    if (isFirst) {
      EXPECT_TRUE(first->wait());
    }
    return Answer::reply(200, soapAnswer(resultBlock("1", isFirst ? "1st" : "2nd", "", "{}")));
  });
  const auto reports = std::make_shared<Mailbox<std::string>>();
  const auto report = [reports](const std::shared_ptr<ORVAAccountAPIResult>& result,
                                const std::shared_ptr<Error>& /*error*/) {
    reports->put(result ? *result->resultDescription() : "an error");
  };
  api()->commonWithApiId_parameters_completionHandler("one", Dictionary(), report);
  api()->commonWithApiId_parameters_completionHandler("two", Dictionary(), report);
  EXPECT_EQ(reports->take(), "2nd");
  first->set();
  EXPECT_EQ(reports->take(), "1st");
}

TEST_F(SoapRequest, TheReportComesOffTheCallersThread) {
  std::thread::id reporter;
  outcomeOf([&](auto handler) {
    api()->login_completionHandler(parameters, [&, handler](const auto& result, const auto& error) {
      reporter = std::this_thread::get_id();
      handler(result, error);
    });
  });
  EXPECT_NE(reporter, std::this_thread::get_id());
}

}  // namespace
}  // namespace orx
