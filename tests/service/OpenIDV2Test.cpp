// SPDX-License-Identifier: MIT
#include <ORXAccount/ORVAAccountConstants.h>

#include <stdexcept>

#include "support/AccountServiceFixture.h"

namespace orx {
namespace {

using namespace orx::testing;

// Both operations are one but for the path, so each test runs over both.
class OpenIDV2 : public AccountServiceFixture, public ::testing::WithParamInterface<bool> {
 protected:
  void start(ORVAAccountAPI& client, const Dictionary& parameters,
             ORVAAccountAPICompletionHandler handler) {
    if (GetParam()) {
      client.loginOpenIDV2WithParameters_completionHandler(parameters, std::move(handler));
    } else {
      client.registerV2WithParameters_completeHandler(parameters, std::move(handler));
    }
  }
  Report run(const Dictionary& parameters = {}) {
    return outcomeOf([&](auto handler) { start(*api(), parameters, handler); });
  }
  Report answered(const std::string& body, int status = 200) {
    answerWith(body, status);
    return run();
  }
};

TEST_P(OpenIDV2, PostsTheParametersWithTheCredentialsAsJSON) {
  answerWith(R"({"Status":0})");
  run(Dictionary{{"openid_type", "x/y"}, {"n", 1}});
  const Request request = onlyRequest();
  EXPECT_EQ(request.method, "POST");
  EXPECT_EQ(request.target, GetParam() ? "/api/OpenIdApi/Login" : "/api/OpenIdApi/Register");
  EXPECT_EQ(request.header("Content-Type"), "application/json");
  EXPECT_EQ(request.header("Expect"), std::nullopt);
  EXPECT_EQ(request.body, R"({"openid_type":"x\/y","n":1,"AppID":"my-app","AppKey":"my-key"})");
}

TEST_P(OpenIDV2, TheClientsCredentialsReplaceTheCallersAndLeaveItsDictionaryAlone) {
  answerWith(R"({"Status":0})");
  const Dictionary parameters{{"AppKey", "theirs"}, {"a", "b"}, {"AppID", "theirs"}};
  run(parameters);
  EXPECT_EQ(onlyRequest().body, R"({"AppKey":"my-key","a":"b","AppID":"my-app"})");
  EXPECT_EQ(parameters, (Dictionary{{"AppKey", "theirs"}, {"a", "b"}, {"AppID", "theirs"}}));
}

TEST_P(OpenIDV2, EmptyParametersSendTheCredentialsAlone) {
  answerWith(R"({"Status":0})");
  run({});
  EXPECT_EQ(onlyRequest().body, R"({"AppID":"my-app","AppKey":"my-key"})");
}

TEST_P(OpenIDV2, AbsentCredentialsThrow) {
  const auto never = [](const auto&, const auto&) { ADD_FAILURE() << "reported"; };
  for (const Dictionary& options :
       {Dictionary(), Dictionary{{"AppID", "a"}}, Dictionary{{"AppKey", "k"}}}) {
    const auto client = ORVAAccountAPI::initWithOptions(options);
    EXPECT_THROW(start(*client, Dictionary(), never), std::invalid_argument);
  }
  EXPECT_EQ(server().connectionCount(), 0U);
}

TEST_P(OpenIDV2, GoesToTheGlobalServerWhateverTheFlagSays) {
  ORVAAccountAPI::setTargetServerWithIsCN(true);
  answerWith(R"({"Status":0})");
  run();
  EXPECT_EQ(onlyRequest().serverName, kGlobalHost);
}

TEST_P(OpenIDV2, StatusZeroHandsBackMessageAndResult) {
  const Report outcome = answered(R"({"Status":0,"Message":"ok","Result":{"Login":"a","n":[1]}})");
  ASSERT_NE(outcome.result, nullptr);
  EXPECT_EQ(outcome.result->resultDescription(), "ok");
  EXPECT_EQ(outcome.result->returnData(), Value(Dictionary{{"Login", "a"}, {"n", Array{1}}}));
}

TEST_P(OpenIDV2, StatusesThatReadAsZeroAreSuccess) {
  for (const std::string status :
       {"0", "\"0\"", "null", "\"\"", "\"x\"", "0.9", "-0.0", "false", "4294967296", "\" 0\""}) {
    const Report outcome = answered(R"({"Message":"m","Status":)" + status + "}");
    EXPECT_NE(outcome.result, nullptr) << status;
  }
}

TEST_P(OpenIDV2, AnAnswerWithoutStatusIsSuccess) {
  const Report outcome = answered("{}");
  ASSERT_NE(outcome.result, nullptr);
  EXPECT_EQ(outcome.result->resultDescription(), std::nullopt);
  EXPECT_TRUE(outcome.result->returnData().isNull());
}

TEST_P(OpenIDV2, AnyOtherStatusIsTheErrorOfTheMessage) {
  for (const std::string status :
       {"1", "-1", "\"1\"", "\" 2x\"", "1.5", "true", "4294967297", "\"99999999999\""}) {
    const Report outcome =
        answered(R"({"Result":{"a":1},"Message":"AppKey Error","Status":)" + status + "}");
    ASSERT_NE(outcome.error, nullptr) << status;
    EXPECT_EQ(outcome.error->domain(), kORVAAccountErrorDomain);
    EXPECT_EQ(outcome.error->code(), 1);
    EXPECT_EQ(outcome.error->localizedDescription(), "AppKey Error");
  }
}

TEST_P(OpenIDV2, ARefusalWithoutAMessageHasAnEmptyDescription) {
  for (const std::string body : {R"({"Status":1})", R"({"Status":1,"Message":null})"}) {
    const Report outcome = answered(body);
    ASSERT_NE(outcome.error, nullptr);
    EXPECT_EQ(outcome.error->code(), 7);
    EXPECT_EQ(outcome.error->userInfo(), (Dictionary{{"NSLocalizedDescription", ""}}));
  }
}

TEST_P(OpenIDV2, AStatusOfAForeignKindIsAnError) {
  for (const std::string status : {"[]", "{}", "[0]"}) {
    const Report outcome = answered(R"({"Message":"m","Status":)" + status + "}");
    ASSERT_NE(outcome.error, nullptr) << status;
    EXPECT_EQ(outcome.error->domain(), NSCocoaErrorDomain);
  }
}

TEST_P(OpenIDV2, AMessageOfAForeignKindIsAbsent) {
  for (const std::string message : {"[]", "{\"a\":1}", "null"}) {
    const Report outcome = answered(R"({"Status":0,"Message":)" + message + "}");
    ASSERT_NE(outcome.result, nullptr) << message;
    EXPECT_EQ(outcome.result->resultDescription(), std::nullopt);
  }
  EXPECT_EQ(answered(R"({"Status":0,"Message":12})").result->resultDescription(), "12");
  EXPECT_EQ(answered(R"({"Status":0,"Message":true})").result->resultDescription(), "true");
}

TEST_P(OpenIDV2, AMessageKeepsAllDigitsOfAnInteger) {
  const std::string digits = "123456789012345678901234567890";
  const Report outcome =
      answered(R"({"Status":0,"Message":)" + digits + R"(,"Result":)" + digits + "}");
  ASSERT_NE(outcome.result, nullptr);
  EXPECT_EQ(outcome.result->resultDescription(), digits);
  EXPECT_EQ(outcome.result->returnData(), Value(123456789012345678901234567890.0));
  EXPECT_EQ(answered(R"({"Status":0,"Message":1.5})").result->resultDescription(), "1.5");
}

TEST_P(OpenIDV2, AnAnswerMayBeginWithAByteOrderMark) {
  for (const std::string& mark : {std::string("\xEF\xBB\xBF"), std::string("\xFF\xFE")}) {
    std::string body = mark;
    for (const char character : std::string_view(R"({"Status":0,"Message":"fine"})")) {
      body += character;
      if (mark.size() == 2) body += '\0';
    }
    const Report outcome = answered(body);
    ASSERT_NE(outcome.result, nullptr);
    EXPECT_EQ(outcome.result->resultDescription(), "fine");
  }
}

TEST_P(OpenIDV2, AResultOfAnyKindIsHandedOnAsItIs) {
  EXPECT_EQ(answered(R"({"Status":0,"Result":[1]})").result->returnData(), Value(Array{1}));
  EXPECT_EQ(answered(R"({"Status":0,"Result":"x"})").result->returnData(), Value("x"));
  EXPECT_TRUE(answered(R"({"Status":0,"Result":null})").result->returnData().isNull());
}

TEST_P(OpenIDV2, AnyOtherHTTPStatusIsAnErrorWithThatCodeWhateverTheBody) {
  for (const int status : {201, 401, 404, 500}) {
    const Report outcome = answered(R"({"Status":0,"Result":{}})", status);
    ASSERT_NE(outcome.error, nullptr) << status;
    EXPECT_EQ(outcome.error->domain(), "ORVAAccountAPIErrorDomain");
    EXPECT_EQ(outcome.error->code(), status);
    EXPECT_TRUE(outcome.error->userInfo().empty());
  }
}

TEST_P(OpenIDV2, ABodyThatIsNotJSONIsTheReadersError) {
  for (const std::string body :
       {"", "<html/>", "{", "{\"Status\":0}x", "\xef\xbb{}", "{\"a\":\"\xff\"}"}) {
    const Report outcome = answered(body);
    ASSERT_NE(outcome.error, nullptr) << body;
    EXPECT_EQ(outcome.error->domain(), NSCocoaErrorDomain);
    EXPECT_EQ(outcome.error->code(), NSPropertyListReadCorruptError);
  }
}

TEST_P(OpenIDV2, AnAnswerCutAtAnyByteIsAnError) {
  const std::string whole = R"({"Status":0,"Message":"né","Result":{"a":[1,true,null]}})";
  for (std::size_t length = 0; length < whole.size(); ++length) {
    EXPECT_NE(answered(whole.substr(0, length)).error, nullptr) << length;
  }
}

TEST_P(OpenIDV2, AnAnswerThatIsNoObjectIsAnError) {
  for (const std::string body : {"[]", "[{\"Status\":0}]", "1", "\"text\"", "null", "true"}) {
    const Report outcome = answered(body);
    ASSERT_NE(outcome.error, nullptr) << body;
    EXPECT_EQ(outcome.error->domain(), NSCocoaErrorDomain);
    EXPECT_EQ(outcome.error->code(), NSPropertyListReadCorruptError);
  }
}

INSTANTIATE_TEST_SUITE_P(, OpenIDV2, ::testing::Bool(),
                         [](const auto& row) { return row.param ? "Login" : "Register"; });

}  // namespace
}  // namespace orx
