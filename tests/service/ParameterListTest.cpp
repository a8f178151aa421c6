// SPDX-License-Identifier: MIT
#include <ORXAccount/ORVAAccountConstants.h>

#include <stdexcept>

#include "support/AccountServiceFixture.h"

namespace orx {
namespace {

using namespace orx::testing;

class ParameterList : public AccountServiceFixture {
 protected:
  Report list(std::string_view name = "country") {
    return outcomeOf(
        [&](auto handler) { api()->parameterListWithName_completionHandler(name, handler); });
  }
  Report answered(const std::string& body, int status = 200) {
    answerWith(body, status);
    return list();
  }
};

TEST_F(ParameterList, SendsTheNameUnderParaWithTheCredentialsInTheHeader) {
  answerWith("");
  list("profession");
  const Request request = onlyRequest();
  EXPECT_EQ(request.target, "/ws/OrvaService.asmx");
  EXPECT_EQ(request.header("Content-Type"), "text/xml; charset=utf-8");
  EXPECT_EQ(between(request.body, "<ApiID>", "</ApiID>"), "secure0003");
  EXPECT_EQ(between(request.body, "<AppID>", "</AppID>"), "my-app");
  EXPECT_EQ(between(request.body, "<Parameters>", "</Parameters>"), R"({"Para":"profession"})");
}

TEST_F(ParameterList, TheNamedListsAskForTheNamesThatTheServiceExpects) {
  answerWith("");
  outcomeOf([&](auto handler) { api()->countryListWithCompletionHandler(handler); });
  outcomeOf([&](auto handler) { api()->educationListWithCompletionHandler(handler); });
  outcomeOf([&](auto handler) { api()->professionalListWithCompletionHandler(handler); });
  const auto requests = server().requests();
  ASSERT_EQ(requests.size(), 3U);
  EXPECT_EQ(between(requests[0].body, "<Parameters>", "</Parameters>"), R"({"Para":"country"})");
  EXPECT_EQ(requests[1].body, requests[0].body);
  EXPECT_EQ(between(requests[2].body, "<Parameters>", "</Parameters>"), R"({"Para":"profession"})");
}

TEST_F(ParameterList, ANameIsSentAsItStands) {
  answerWith("");
  const std::string name = R"(a"b\c&d<e%@)";
  list(name);
  EXPECT_EQ(between(onlyRequest().body, "<Parameters>", "</Parameters>"),
            R"({"Para":")" + name + R"("})");
}

TEST_F(ParameterList, HandsBackTheParsedDataWhole) {
  const Report outcome =
      answered(soapAnswer(resultBlock("1", "words", "Json", R"([{"abbr":"TWN"},{"abbr":"JPN"}])")));
  EXPECT_EQ(outcome.result->resultDescription(), "words");
  EXPECT_EQ(outcome.result->returnData(),
            Value(Array{Dictionary{{"abbr", "TWN"}}, Dictionary{{"abbr", "JPN"}}}));
}

TEST_F(ParameterList, AnyResultCodeIsASuccess) {
  for (const std::string_view code : {"0", "-3", "x"}) {
    const Report outcome = answered(resultBlock(code, "AppID Error", "", "none"));
    EXPECT_EQ(outcome.result->resultDescription(), "AppID Error");
    EXPECT_TRUE(outcome.result->returnData().isNull());
  }
}

TEST_F(ParameterList, TheStatusIsNotExamined) {
  const Report outcome = answered(resultBlock("1", "words", "", R"({"a":1})"), 500);
  EXPECT_EQ(outcome.result->returnData(), Value(Dictionary{{"a", 1}}));
}

TEST_F(ParameterList, AnAnswerWithoutAFullBlockIsAnEmptyResult) {
  for (const std::string& body :
       {std::string(), std::string("<html/>"), resultBlock("1", "words", "", std::nullopt)}) {
    const Report outcome = answered(body);
    EXPECT_EQ(outcome.result->resultDescription(), "");
    EXPECT_TRUE(outcome.result->returnData().isNull());
  }
}

TEST_F(ParameterList, EncodedJSONGivesNull) {
  const Report outcome = answered(resultBlock("1", "words", "", "[{&quot;a&quot;:1}]"));
  EXPECT_EQ(outcome.result->resultDescription(), "words");
  EXPECT_TRUE(outcome.result->returnData().isNull());
}

TEST_F(ParameterList, AFailedTransferIsAnEmptyResult) {
  answerWith(Answer::hangUp(TLSTestServer::End::reset));
  const Report outcome = list();
  ASSERT_NE(outcome.result, nullptr);
  EXPECT_EQ(outcome.result->resultDescription(), "");
  EXPECT_TRUE(outcome.result->returnData().isNull());
}

TEST_F(ParameterList, TellsAFailedTransferFromAnAnswerWithoutAList) {
  answerWith("no list here");
  EXPECT_EQ(list().result->transferError(), nullptr);
  answerWith(Answer::hangUp(TLSTestServer::End::reset));
  const Report outcome = list();
  ASSERT_NE(outcome.result->transferError(), nullptr);
  EXPECT_EQ(outcome.result->transferError()->domain(), NSURLErrorDomain);
  EXPECT_EQ(outcome.error, nullptr);
}

TEST_F(ParameterList, WhatArrivedBeforeTheConnectionBrokeIsRead) {
  const std::string block = resultBlock("1", "words", "", "[1]");
  const Answer whole = Answer::reply(200, block + std::string(100, ' '));
  answerWith(whole.cutAfter(whole.headSize() + block.size(), TLSTestServer::End::cut));
  EXPECT_EQ(list().result->returnData(), Value(Array{1}));
}

TEST_F(ParameterList, TheClientMayGoWhileItsRequestRuns) {
  const auto mayAnswer = std::make_shared<Event>();
  answerBy([mayAnswer](const Request& /*request*/) {
    EXPECT_TRUE(mayAnswer->wait());
    return Answer::reply(200, resultBlock("1", "words", "", "[1]"));
  });
  const auto reports = std::make_shared<Mailbox<Report>>();
  auto client = ORVAAccountAPI::initWithOptions({});
  const std::weak_ptr<ORVAAccountAPI> watched = client;
  client->countryListWithCompletionHandler([reports](const auto& result, const auto& error) {
    reports->put({result, error});
  });
  client.reset();
  EXPECT_TRUE(watched.expired());
  mayAnswer->set();
  EXPECT_NE(reports->take().result, nullptr);
}

TEST_F(ParameterList, AnEmptyCompletionHandlerThrows) {
  EXPECT_THROW(api()->countryListWithCompletionHandler(nullptr), std::invalid_argument);
  EXPECT_EQ(server().connectionCount(), 0U);
}

}  // namespace
}  // namespace orx
