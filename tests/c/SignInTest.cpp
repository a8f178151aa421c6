// SPDX-License-Identifier: MIT
#include <cerrno>

#include "c/CHost.h"
#include "c/Starts.h"

namespace orx {
namespace {

using namespace orx::testing;

class CSignIn : public CHost {};

TEST_F(CSignIn, SendsItsParametersAndTheCredentials) {
  EXPECT_EQ(signIn("ada").login, "ada");
  answerWithRecord(R"({"login":"bob"})");
  const Told outcome = told([](auto callback, void* context) {
    return orx_sign_in(R"({"login":"bob","passwd":"pass word","n":[1,true]})", callback, context);
  });
  EXPECT_EQ(outcome.login, "bob");
  const std::string body = server().requests().back().body;
  EXPECT_NE(body.find(R"({"login":"bob","passwd":"pass word","n":[1,true]})"), std::string::npos);
  EXPECT_NE(body.find("<AppID>my-app</AppID><AppKey>my-key</AppKey>"), std::string::npos);
}

TEST_F(CSignIn, ReportsARefusalAndLeavesTheUser) {
  signIn("ada");
  answerWith(soapAnswer(resultBlock("0", "password error", "", std::nullopt)));
  const Told outcome =
      told([](auto callback, void* context) { return orx_sign_in(nullptr, callback, context); });
  EXPECT_EQ(outcome.domain, ORX_ERROR_DOMAIN_SERVICE);
  EXPECT_EQ(outcome.code, ORX_ERROR_PASSWORD);
  EXPECT_EQ(outcome.errorText, "password error");
  EXPECT_STREQ(orx_user_text(currentUser().get(), ORX_LOGIN), "ada");
}

TEST_F(CSignIn, WithATicketReportsTheUserOfItsData) {
  answerWith(
      soapAnswer(resultBlock("0", "OK", "XmlString", xmlEscaped("<u><login>ada</login></u>"))));
  const Told outcome = told(
      [](auto callback, void* context) { return orx_sign_in_ticket("T1", callback, context); });
  EXPECT_EQ(outcome.login, "ada");
  EXPECT_STREQ(orx_user_text(currentUser().get(), ORX_TICKET), "T1");
}

TEST_F(CSignIn, WithATicketReportsNoErrorForDataThatIsNoXML) {
  signIn("ada");
  answerWith(soapAnswer(resultBlock("0", "OK", "String", "x")));
  const Told outcome = told(
      [](auto callback, void* context) { return orx_sign_in_ticket("T1", callback, context); });
  EXPECT_TRUE(outcome.isResult);
  EXPECT_EQ(outcome.login, std::nullopt);
  EXPECT_STREQ(orx_user_text(currentUser().get(), ORX_LOGIN), "ada");
}

TEST_F(CSignIn, IsToldApartFromAnotherOneThatIsUnderWay) {
  Event bobIsIn;
  answerBy([&](const Request& request) {
    if (request.body.find("bob") != std::string::npos) {
      return Answer::reply(200, soapAnswer(resultBlock("1", "OK", "Json", R"([{"login":"bob"}])")));
    }
    EXPECT_TRUE(bobIsIn.wait());
    return Answer::reply(200, soapAnswer(resultBlock("0", "password error", "", std::nullopt)));
  });
  ToldBox ada;
  ToldBox bob;
  EXPECT_EQ(refusal(orx_sign_in(R"({"login":"ada"})", putTold, &ada)), 0);
  EXPECT_EQ(refusal(orx_sign_in_openid(R"({"login":"bob"})", putTold, &bob)), 0);
  EXPECT_EQ(bob.take().login, "bob");
  bobIsIn.set();
  EXPECT_EQ(ada.take().code, ORX_ERROR_PASSWORD);
  EXPECT_EQ(ada.count() + bob.count(), 0U);
}

// Between a sign-in and its report, an observer signs another user in.
TEST_F(CSignIn, ReportsItsOwnUserWhereAnotherIsCurrentByThen) {
  const orx_callback replace = [](void*, const orx_result* result, const orx_error*) {
    if (textAt(orx_user_text(orx_result_user(result), ORX_LOGIN)) == "bob") return;
    ORVAAccountUser::setCurrentUser(
        ORVAAccountUser::initWithUserInfo(Dictionary{{"login", "bob"}}));
  };
  orx_observation* observation = nullptr;
  ASSERT_EQ(refusal(orx_observe_user(replace, nullptr, nullptr, &observation)), 0);
  EXPECT_EQ(signIn("ada").login, "ada");
  EXPECT_STREQ(orx_user_text(currentUser().get(), ORX_LOGIN), "bob");
  orx_observation_release(observation);
}

TEST_F(CSignIn, MayBeStartedByTheCallbackOfAnother) {
  struct Context {
    ToldBox box;
    std::atomic<int> calls = 0;
  } context;
  const orx_callback again = [](void* place, const orx_result* result, const orx_error* error) {
    auto* self = static_cast<Context*>(place);
    if (self->calls++ == 0) {
      EXPECT_EQ(refusal(orx_sign_in("{}", putTold, &self->box)), 0);
    }
    putTold(&self->box, result, error);
  };
  answerWithRecord(R"({"login":"ada"})");
  EXPECT_EQ(refusal(orx_sign_in("{}", again, &context)), 0);
  EXPECT_EQ(context.box.take().login, "ada");
  EXPECT_EQ(context.box.take().login, "ada");
  EXPECT_EQ(context.calls, 1);
}

// Each of the answers makes one report, whatever came.
class CSignInOrCall : public CHost, public ::testing::WithParamInterface<Start> {};

TEST_P(CSignInOrCall, ReportsOnceWhateverTheAnswerIs) {
  const std::string good = soapAnswer(resultBlock("1", "OK", "Json", R"([{"login":"ada"}])"));
  const std::vector<Answer> answers{Answer::reply(200, good),
                                    Answer::reply(200, R"({"Status":0,"Result":{"Login":"a"}})"),
                                    Answer::reply(200, ""),
                                    Answer::reply(200, "\xFF<&"),
                                    Answer::reply(500, "no"),
                                    Answer::reply(200, good).cutAfter(120, TLSTestServer::End::cut),
                                    Answer::hangUp(TLSTestServer::End::reset)};
  for (const Answer& answer : answers) {
    answerWith(answer);
    const Told outcome = told([](auto callback, void* context) {
      return GetParam().start(R"({"login":"ada"})", callback, context);
    });
    EXPECT_NE(outcome.isResult, outcome.domain.has_value());
  }
  EXPECT_EQ(untaken(), 0U);
}

const auto nameOfStart = [](const auto& each) { return each.param.name; };
INSTANTIATE_TEST_SUITE_P(SignIns, CSignInOrCall, ::testing::ValuesIn(kSignIns), nameOfStart);
INSTANTIATE_TEST_SUITE_P(Calls, CSignInOrCall, ::testing::ValuesIn(kCalls), nameOfStart);

}  // namespace
}  // namespace orx
