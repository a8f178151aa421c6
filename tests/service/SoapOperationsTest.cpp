// SPDX-License-Identifier: MIT
#include <ORXAccount/ORVAAccountConstants.h>

#include "support/AccountServiceFixture.h"

namespace orx {
namespace {

using namespace orx::testing;

class Common : public AccountServiceFixture {
 protected:
  Report common() {
    return outcomeOf([&](auto handler) {
      api()->commonWithApiId_parameters_completionHandler("w1", Dictionary(), handler);
    });
  }
  Report commonAnswered(std::string_view code, std::optional<std::string_view> data) {
    answerWith(soapAnswer(resultBlock(code, "words", "Json", data)));
    return common();
  }
};

TEST_F(Common, HandsBackTheDescriptionAndTheParsedData) {
  const Report outcome = commonAnswered("1", R"({"a":[1,"\u00e9",null]})");
  ASSERT_NE(outcome.result, nullptr);
  EXPECT_EQ(outcome.result->resultDescription(), "words");
  EXPECT_EQ(outcome.result->returnData(), Value(Dictionary{{"a", Array{1, "é", nullptr}}}));
}

TEST_F(Common, TheEmptyElementAndAnEmptyElementPairGiveAnEmptyDictionary) {
  for (const auto data : {std::optional<std::string_view>(), std::optional<std::string_view>("")}) {
    const Report outcome = commonAnswered("1", data);
    ASSERT_NE(outcome.result, nullptr);
    EXPECT_EQ(outcome.result->returnData(), Value(Dictionary()));
  }
}

TEST_F(Common, AnArrayOfOneObjectIsHandedOnWhole) {
  const Report outcome = commonAnswered("1", R"([{"login":"a"}])");
  ASSERT_NE(outcome.result, nullptr);
  EXPECT_EQ(outcome.result->returnData(), Value(Array{Dictionary{{"login", "a"}}}));
}

TEST_F(Common, DataThatIsNotJSONIsASuccessWithNull) {
  const Report outcome = commonAnswered("1", "{&quot;a&quot;:1}");
  ASSERT_NE(outcome.result, nullptr);
  EXPECT_TRUE(outcome.result->returnData().isNull());
}

TEST_F(Common, CodesThatReadAsOneAreSuccess) {
  for (const std::string_view code : {"1", " 1", "001", "+1", "1abc", "\t1"}) {
    EXPECT_NE(commonAnswered(code, "{}").result, nullptr) << code;
  }
}

TEST_F(Common, EveryOtherCodeIsTheErrorOfTheDescription) {
  for (const std::string_view code : {"0", "2", "-1", "", "one", "x1", "4294967297"}) {
    const Report outcome = commonAnswered(code, "{}");
    ASSERT_NE(outcome.error, nullptr) << code;
    EXPECT_EQ(outcome.error->domain(), kORVAAccountErrorDomain);
    EXPECT_EQ(outcome.error->code(), 7);
    EXPECT_EQ(outcome.error->localizedDescription(), "words");
  }
}

TEST_F(Common, AKnownDescriptionGivesItsCode) {
  answerWith(soapAnswer(resultBlock("0", "Email Format Error", "", std::nullopt)));
  EXPECT_EQ(common().error->code(), 6);
}

TEST_F(Common, ElementNamesMatchInAnyLetterCase) {
  answerWith(
      "<resultcode>1</RESULTCODE><ResultDesc>d</resultDesc><returndatatype>x"
      "</ReturnDataType><RETURNDATA>[1]</ReturnData>");
  EXPECT_EQ(common().result->returnData(), Value(Array{1}));
}

TEST_F(Common, ABlockThatIsBrokenUpIsNone) {
  const std::string whole = resultBlock("1", "d", "t", "{}");
  for (const std::string_view gap : {"\n", " ", "\r\n", "<x/>", "\xe2\x80\xa8"}) {
    std::string broken = whole;
    broken.insert(broken.find("<ResultDesc>"), gap);
    answerWith(soapAnswer(broken));
    const Report outcome = common();
    ASSERT_NE(outcome.error, nullptr);
    EXPECT_EQ(outcome.error->code(), 7);
    EXPECT_EQ(outcome.error->localizedDescription(), "");
  }
}

TEST_F(Common, CapturedTextIsNotDecoded) {
  answerWith(soapAnswer(resultBlock("1", "a &amp; b", "t", R"({"x":"&lt;"})")));
  const Report outcome = common();
  EXPECT_EQ(outcome.result->resultDescription(), "a &amp; b");
  EXPECT_EQ(outcome.result->returnData(), Value(Dictionary{{"x", "&lt;"}}));
}

TEST_F(Common, AnAnswerThatIsNotUTF8HasNoResultBlock) {
  answerWith(soapAnswer(resultBlock("1", "\xff", "t", "{}")));
  EXPECT_EQ(common().error->code(), 7);
}

TEST_F(Common, AnAnswerCutAtAnyByteIsReportedOnce) {
  const std::string whole = soapAnswer(resultBlock("1", "d", "t", R"({"a":"é"})"));
  const std::size_t end = whole.find("</ReturnData>") + std::string_view("</ReturnData>").size();
  for (std::size_t length = 0; length < whole.size(); ++length) {
    answerWith(whole.substr(0, length));
    const Report outcome = common();
    EXPECT_EQ(outcome.result != nullptr, length >= end) << length;
  }
}

TEST_F(Common, ALargeAnswerIsRead) {
  const std::string text(std::size_t{10} * 1024 * 1024, 'x');
  answerWith(soapAnswer(resultBlock("1", "d", "t", "\"" + text + "\"")));
  const Report outcome = common();
  ASSERT_NE(outcome.result, nullptr);
  EXPECT_EQ(outcome.result->returnData(), Value(text));
}

class Register : public AccountServiceFixture {
 protected:
  Report registered(std::string_view code, std::optional<std::string_view> data) {
    answerWith(soapAnswer(resultBlock(code, "words", "Json", data)));
    return outcomeOf([&](auto handler) {
      api()->register_completeHandler(Dictionary{{"login", "a"}}, handler);
    });
  }
};

TEST_F(Register, AnyCodeButZeroIsSuccess) {
  for (const std::string_view code : {"1", "2", "-1", "4294967296", "99999999999999999999"}) {
    const Report outcome = registered(code, "77");
    ASSERT_NE(outcome.result, nullptr) << code;
    EXPECT_EQ(outcome.result->resultDescription(), "words");
    EXPECT_EQ(outcome.result->returnData(), Value(Dictionary{{"cus_id", "77"}}));
  }
}

TEST_F(Register, CodesThatReadAsZeroAreTheErrorOfTheDescription) {
  for (const std::string_view code : {"0", "", "none", "-0", "000"}) {
    const Report outcome = registered(code, "77");
    ASSERT_NE(outcome.error, nullptr) << code;
    EXPECT_EQ(outcome.error->code(), 7);
    EXPECT_EQ(outcome.error->localizedDescription(), "words");
  }
}

TEST_F(Register, TheCustomerNumberIsTheTextAsItStands) {
  EXPECT_EQ(registered("1", " [7] ").result->returnData(), Value(Dictionary{{"cus_id", " [7] "}}));
}

TEST_F(Register, AnEmptyElementGivesAnEmptyCustomerNumber) {
  EXPECT_EQ(registered("1", std::nullopt).result->returnData(), Value(Dictionary{{"cus_id", ""}}));
}

// Both sign-ins are one operation but for the identifier, so each test runs over both.
class Login : public AccountServiceFixture, public ::testing::WithParamInterface<bool> {
 protected:
  Report login() {
    return outcomeOf([&](auto handler) {
      const Dictionary parameters{{"login", "a"}, {"passwd", "b"}};
      if (GetParam()) {
        api()->loginOpenID_completionHandler(parameters, handler);
      } else {
        api()->login_completionHandler(parameters, handler);
      }
    });
  }
  Report loginAnswered(std::string_view code, std::optional<std::string_view> data) {
    answerWith(soapAnswer(resultBlock(code, "words", "Json", data)));
    return login();
  }
};

TEST_P(Login, HandsBackTheFirstElementOfTheArray) {
  const Report outcome = loginAnswered("1", R"([{"login":"a"},{"login":"b"}])");
  ASSERT_NE(outcome.result, nullptr);
  EXPECT_EQ(outcome.result->resultDescription(), "words");
  EXPECT_EQ(outcome.result->returnData(), Value(Dictionary{{"login", "a"}}));
}

TEST_P(Login, ReturnDataThatIsNoFilledArrayGivesNull) {
  for (const auto data :
       {std::optional<std::string_view>(), std::optional<std::string_view>(""),
        std::optional<std::string_view>("[]"), std::optional<std::string_view>(R"({"login":"a"})"),
        std::optional<std::string_view>("not json"), std::optional<std::string_view>("[{\"a\":1}"),
        std::optional<std::string_view>("null")}) {
    const Report outcome = loginAnswered("1", data);
    ASSERT_NE(outcome.result, nullptr);
    EXPECT_TRUE(outcome.result->returnData().isNull());
  }
}

TEST_P(Login, OnlyCodeOneIsSuccess) {
  for (const std::string_view code : {"0", "2", "-1", "", "4294967297", "x"}) {
    const Report outcome = loginAnswered(code, R"([{"login":"a"}])");
    ASSERT_NE(outcome.error, nullptr) << code;
    EXPECT_EQ(outcome.error->localizedDescription(), "words");
  }
  EXPECT_NE(loginAnswered(" 01", "[1]").result, nullptr);
}

TEST_P(Login, ARefusalCarriesTheServicesWordsAndTheirCode) {
  answerWith(soapAnswer(resultBlock("0", "password error", "", std::nullopt)));
  const Report outcome = login();
  ASSERT_NE(outcome.error, nullptr);
  EXPECT_EQ(outcome.error->code(), 4);
  EXPECT_EQ(outcome.error->localizedDescription(), "password error");
}

INSTANTIATE_TEST_SUITE_P(PasswordAndOpenID, Login, ::testing::Bool(),
                         [](const auto& row) { return row.param ? "OpenID" : "Password"; });

class WebSSO : public AccountServiceFixture {
 protected:
  Report webSSO() {
    return outcomeOf([&](auto handler) {
      api()->apToWebSSOWithParameters_completionHandler(Dictionary{{"ticket", "t"}}, handler);
    });
  }
};

TEST_F(WebSSO, HandsBackTheReturnDataTextUnparsed) {
  answerWith(soapAnswer(resultBlock("1", "words", "String", R"([{"a":1}])")));
  const Report outcome = webSSO();
  EXPECT_EQ(outcome.result->resultDescription(), "words");
  EXPECT_EQ(outcome.result->returnData(), Value(R"([{"a":1}])"));
}

TEST_F(WebSSO, AFailureCodeIsASuccessWithItsDescription) {
  answerWith(soapAnswer(resultBlock("-5", "no such ticket", "String", "")));
  const Report outcome = webSSO();
  EXPECT_EQ(outcome.result->resultDescription(), "no such ticket");
  EXPECT_EQ(outcome.result->returnData(), Value(""));
}

TEST_F(WebSSO, AnyOtherStatusIsAnErrorWithThatCodeAndNoDetails) {
  for (const int status : {201, 204, 404, 500}) {
    answerWith(soapAnswer(resultBlock("1", "words", "String", "x")), status);
    const Report outcome = webSSO();
    ASSERT_NE(outcome.error, nullptr) << status;
    EXPECT_EQ(outcome.error->domain(), "ORVAAccountAPIErrorDomain");
    EXPECT_EQ(outcome.error->code(), status);
    EXPECT_TRUE(outcome.error->userInfo().empty());
  }
}

TEST_F(WebSSO, AnAnswerWithoutAFullBlockIsASuccessWithEmptyTexts) {
  for (const std::string& body :
       {soapAnswer(resultBlock("1", "words", "String", std::nullopt)), std::string(),
        std::string("<html>not here</html>"), std::string("\xff\xfe")}) {
    answerWith(body);
    const Report outcome = webSSO();
    ASSERT_NE(outcome.result, nullptr);
    EXPECT_EQ(outcome.result->resultDescription(), "");
    EXPECT_EQ(outcome.result->returnData(), Value(""));
  }
}

TEST_F(WebSSO, TheClientMayGoWhileItsRequestRuns) {
  const auto mayAnswer = std::make_shared<Event>();
  answerBy([mayAnswer](const Request& /*request*/) {
    EXPECT_TRUE(mayAnswer->wait());
    return Answer::reply(200, resultBlock("1", "words", "String", "x"));
  });
  const auto reports = std::make_shared<Mailbox<Report>>();
  auto client = ORVAAccountAPI::initWithOptions({});
  const std::weak_ptr<ORVAAccountAPI> watched = client;
  client->apToWebSSOWithParameters_completionHandler(
      Dictionary(), [reports](const auto& result, const auto& error) {
        reports->put({result, error});
      });
  client.reset();
  EXPECT_TRUE(watched.expired());
  mayAnswer->set();
  EXPECT_NE(reports->take().result, nullptr);
}

}  // namespace
}  // namespace orx
