// SPDX-License-Identifier: MIT
#include "c/CHost.h"

namespace orx {
namespace {

using namespace orx::testing;

class CCall : public CHost {
 protected:
  Told toldOfUserData(const std::string& block) {
    answerWith(soapAnswer(block));
    return told(
        [](auto callback, void* context) { return orx_fetch_user_data("T1", callback, context); });
  }
};

TEST_F(CCall, GivesThePayloadAsJSONAndItsFieldsAsText) {
  answerWith(soapAnswer(resultBlock("1", "done", "Json", R"({"a":{"b":[1,null]},"c":2.5})")));
  struct Fields {
    ToldBox box;
    std::optional<std::string> a;
    std::optional<std::string> c;
  } fields;
  const orx_callback read = [](void* context, const orx_result* result, const orx_error* error) {
    auto* self = static_cast<Fields*>(context);
    self->a = textAt(orx_result_text(result, "a"));
    self->c = textAt(orx_result_text(result, "c"));
    putTold(&self->box, result, error);
  };
  EXPECT_EQ(refusal(orx_call("w000000015", R"({"login":"ada"})", read, &fields)), 0);
  const Told outcome = fields.box.take();
  EXPECT_EQ(outcome.json, R"({"a":{"b":[1,null]},"c":2.5})");
  EXPECT_EQ(outcome.description, "done");
  EXPECT_EQ(outcome.text, std::nullopt);
  EXPECT_EQ(fields.a, std::nullopt);
  EXPECT_EQ(fields.c, "2.5");
  EXPECT_NE(onlyRequest().body.find("<ApiID>w000000015</ApiID>"), std::string::npos);
}

TEST_F(CCall, ForAListIsNullWhereThereIsNone) {
  answerWith("", 500);
  const Told outcome = told([](auto callback, void* context) {
    return orx_fetch_list(ORX_LIST_COUNTRIES, callback, context);
  });
  EXPECT_EQ(outcome.json, "null");
  EXPECT_EQ(outcome.text, std::nullopt);
  EXPECT_EQ(outcome.transferCode, 0);
}

TEST_F(CCall, ForAListTellsThatTheTransferFailed) {
  EXPECT_EQ(refusal(orx_set_option(ORX_OPTION_CA_FILE, "/nowhere")), 0);
  const Told outcome = told([](auto callback, void* context) {
    return orx_fetch_list(ORX_LIST_COUNTRIES, callback, context);
  });
  EXPECT_EQ(outcome.json, "null");
  EXPECT_EQ(outcome.transferCode, ORX_ERROR_NOT_TRUSTED);
}

TEST_F(CCall, ForAWebSessionGivesItsAddressAsText) {
  answerWith(soapAnswer(resultBlock("0", "OK", "String", "https://a.example/s?x=1")));
  const Told outcome =
      told([](auto callback, void* context) { return orx_web_sso("{}", callback, context); });
  EXPECT_EQ(outcome.text, "https://a.example/s?x=1");
  EXPECT_EQ(outcome.json, R"("https:\/\/a.example\/s?x=1")");
}

TEST_F(CCall, ForARegistrationGivesTheCustomersNumberUnderItsKey) {
  answerWith(soapAnswer(resultBlock("1", "OK", "String", "C1")));
  const Told outcome =
      told([](auto callback, void* context) { return orx_register("{}", callback, context); });
  EXPECT_EQ(outcome.json, R"({"cus_id":"C1"})");
}

TEST_F(CCall, ForUserDataGivesItsElementsAsADictionary) {
  const Told outcome = toldOfUserData(resultBlock(
      "0", "OK", "XmlString", xmlEscaped("<u><login>ada</login><email>a@b</email><x/></u>")));
  EXPECT_EQ(outcome.json, R"({"login":"ada","email":"a@b"})");
  EXPECT_EQ(outcome.description, "OK");
}

TEST_F(CCall, ForUserDataThatIsNoXMLGivesItsText) {
  EXPECT_EQ(toldOfUserData(resultBlock("0", "OK", "String", "plain")).text, "plain");
}

TEST_F(CCall, ForUserDataReportsXMLThatIsNotWellFormed) {
  const Told outcome =
      toldOfUserData(resultBlock("0", "OK", "XmlString", xmlEscaped("<u><a></u>")));
  EXPECT_EQ(outcome.domain, ORX_ERROR_DOMAIN_XML);
}

TEST_F(CCall, ForUserDataReportsTheServicesOwnResultCode) {
  const Told outcome = toldOfUserData(resultBlock("9", "no such ticket", "", std::nullopt));
  EXPECT_EQ(outcome.domain, ORX_ERROR_DOMAIN_SERVICE);
  EXPECT_EQ(outcome.code, 9);
  EXPECT_EQ(outcome.errorText, "no such ticket");
}

TEST_F(CCall, HasAConnectionPreparedWithoutARequest) {
  answerWith(soapAnswer(resultBlock("1", "OK", "Json", "{}")));
  EXPECT_EQ(refusal(orx_prepare_connection()), 0);
  ASSERT_TRUE(eventually([&] { return server().connectionCount() == 1; }));
  EXPECT_EQ(server().requests().size(), 0U);
}

TEST_F(CCall, EndsAtTheDeadline) {
  answerWith(Answer::silence());
  EXPECT_EQ(refusal(orx_set_option(ORX_OPTION_DEADLINE, "50")), 0);
  const Told outcome =
      told([](auto callback, void* context) { return orx_call("w1", nullptr, callback, context); });
  EXPECT_EQ(outcome.code, ORX_ERROR_TIMED_OUT);
}

TEST_F(CCall, ReportsWhereNobodyAnswers) {
  EXPECT_EQ(refusal(orx_set_option(ORX_OPTION_CA_FILE, "/nowhere")), 0);
  const Told outcome =
      told([](auto callback, void* context) { return orx_call("w1", nullptr, callback, context); });
  EXPECT_EQ(outcome.domain, ORX_ERROR_DOMAIN_NETWORK);
  EXPECT_EQ(outcome.code, ORX_ERROR_NOT_TRUSTED);
}

}  // namespace
}  // namespace orx
