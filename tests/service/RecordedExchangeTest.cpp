// SPDX-License-Identifier: MIT
// The operations against the recorded exchanges with the service: what they send is what was
// recorded, and what the recorded answer means is what they report.
#include <ORXAccount/ORVAAccountConstants.h>

#include <algorithm>
#include <map>

#include "platform/formats/JSONSerialization.h"
#include "support/AccountServiceFixture.h"
#include "support/Exchange.h"
#include "support/Operations.h"

namespace orx {

using namespace platform;
namespace {

using namespace orx::testing;

struct Meaning {
  std::string description;
  // Absent for a success.
  std::optional<std::int64_t> code = std::nullopt;
  std::string_view domain = kORVAAccountErrorDomain;
};

const std::map<std::string, Meaning> kMeanings{
    {"common-check-login", {"Success"}},
    {"common-parameters-no-json", {"Parameter Error", 7}},
    {"common-profile", {"Success"}},
    {"common-unknown-api-id", {"ApiID Error", 2}},
    {"common-update-profile", {"Success"}},
    // Lists and web sessions report every answer as a success, and want the element pair.
    {"list-country", {"Success"}},
    {"list-name-with-quote", {""}},
    {"list-profession", {"Success"}},
    {"list-unknown", {""}},
    {"login-success", {"Success"}},
    {"login-unknown", {"password error", 4}},
    {"login-wrong-password", {"password error", 4}},
    {"openid-login-first", {"Success"}},
    {"openid-login-without-uid", {"OpenID Error", 7}},
    {"openid-v2-login", {"Success"}},
    {"openid-v2-login-unknown", {"This account is not registered", 7}},
    {"openid-v2-no-json", {"", 400, "ORVAAccountAPIErrorDomain"}},
    {"openid-v2-register", {"Success"}},
    {"openid-v2-register-duplicate", {"This account already registered", 3}},
    {"openid-v2-without-app-id", {"", 401, "ORVAAccountAPIErrorDomain"}},
    {"openid-v2-wrong-app-key", {"AppKey Error", 1}},
    {"register-bad-email", {"Email Format Error", 6}},
    {"register-duplicate", {"This account already registered", 3}},
    {"register-malformed-envelope", {"", 7}},
    {"register-short-password", {"passwd can not empty or be 8~25 in length", 5}},
    {"register-success", {"Success"}},
    {"register-wrong-app-id", {"AppID Error", 0}},
    {"register-wrong-app-key", {"AppKey Error", 1}},
    {"user-data-success", {"Success"}},
    {"user-data-unknown-ticket", {"Ticket Error", -4}},
    {"web-sso-success", {"Success"}},
    {"web-sso-unknown-ticket", {""}},
};

const Operation& operationOf(const Exchange& exchange) {
  static const std::map<std::string, const Operation*> byApiID{
      {"w000000012", &kRegister}, {"w000000011", &kLogin},  {"w000000019", &kLoginOpenID},
      {"sso0000004", &kUserData}, {"sso0000006", &kWebSSO}, {"secure0003", &kList}};
  if (exchange.path == "/api/OpenIdApi/Register") return kRegisterV2;
  if (exchange.path == "/api/OpenIdApi/Login") return kLoginV2;
  const auto found = byApiID.find(exchange.apiID);
  return found == byApiID.end() ? kCommon : *found->second;
}

// A recorded answer; where only a pattern was recorded, an answer of that kind.
std::string answerOf(const Exchange& exchange) {
  if (exchange.answer) return *exchange.answer;
  return soapAnswer(resultBlock("0", "Success", "JsonString", R"([{"name":"Aruba"}])"));
}

std::string sentParameters(const std::string& body) {
  for (const std::string element : {"ParaJson", "Parameters"}) {
    if (body.find("<" + element + ">") == std::string::npos) continue;
    return between(body, "<" + element + ">", "</" + element + ">");
  }
  return body;
}

class RecordedExchangeMeaning : public AccountServiceFixture,
                                public ::testing::WithParamInterface<std::string> {
 protected:
  Report run(const Exchange& exchange, const Value& parameters) {
    const Dictionary* dictionary = parameters.dictionary();
    // The JSON calls carry the credentials among their parameters.
    const auto credential = [&](std::string_view name, const std::string& otherwise) {
      const Value* given = dictionary ? dictionary->find(name) : nullptr;
      return given ? given->text().value_or(otherwise) : otherwise;
    };
    const auto client =
        ORVAAccountAPI::initWithOptions({{"AppID", credential("AppID", exchange.appID)},
                                         {"AppKey", credential("AppKey", exchange.appKey)}});
    const Operation& operation = operationOf(exchange);
    return outcomeOf([&](auto handler) {
      if (operation.name == "Common") {
        client->commonWithApiId_parameters_completionHandler(exchange.apiID, *dictionary, handler);
      } else if (operation.name == "List") {
        const std::string name = between(exchange.request, R"({"Para":")", "\"}");
        client->parameterListWithName_completionHandler(name, handler);
      } else {
        operation.start(*client, dictionary ? *dictionary : Dictionary(), handler);
      }
    });
  }
};

TEST_P(RecordedExchangeMeaning, IsReported) {
  const Exchange exchange = loadExchange(GetParam());
  const auto found = kMeanings.find(exchange.name);
  ASSERT_NE(found, kMeanings.end()) << "say above what this exchange means";
  const Meaning& meaning = found->second;
  answerWith(answerOf(exchange), exchange.status);
  const auto recorded = JSONObjectWithText(exchange.request);
  const Report outcome = run(exchange, recorded.value_or(Value()));

  const Request request = onlyRequest();
  EXPECT_EQ(request.target, exchange.path);
  if (!exchange.apiID.empty()) {
    EXPECT_EQ(between(request.body, "<ApiID>", "</ApiID>"), exchange.apiID);
    EXPECT_EQ(between(request.body, "<AppID>", "</AppID>"), exchange.appID);
    EXPECT_EQ(between(request.body, "<AppKey>", "</AppKey>"), exchange.appKey);
  }
  // Some were recorded from a client that sent requests that this library never sends.
  const bool canBeSent = recorded && exchange.name != "openid-v2-without-app-id";
  if (operationOf(exchange).name == "List") {
    EXPECT_EQ(sentParameters(request.body), exchange.request);
  } else if (canBeSent) {
    EXPECT_EQ(JSONObjectWithText(sentParameters(request.body)).value(), *recorded);
  }

  if (!meaning.code) {
    ASSERT_NE(outcome.result, nullptr) << outcome.error->localizedDescription();
    EXPECT_EQ(outcome.result->resultDescription(), meaning.description);
    return;
  }
  ASSERT_NE(outcome.error, nullptr);
  EXPECT_EQ(outcome.error->domain(), meaning.domain);
  EXPECT_EQ(outcome.error->code(), *meaning.code);
  if (meaning.domain == kORVAAccountErrorDomain) {
    EXPECT_EQ(outcome.error->localizedDescription(), meaning.description);
  }
}

INSTANTIATE_TEST_SUITE_P(All, RecordedExchangeMeaning, ::testing::ValuesIn(exchangeNames()),
                         [](const auto& exchange) {
                           std::string name = exchange.param;
                           std::ranges::replace(name, '-', '_');
                           return name;
                         });

// ---- What the recorded successes hold ----

class RecordedData : public AccountServiceFixture {
 protected:
  Value dataOf(const std::string& name, const Operation& operation) {
    answerWith(loadExchange(name).answer.value());
    const Report outcome =
        outcomeOf([&](auto handler) { operation.start(*api(), Dictionary(), handler); });
    return outcome.result ? outcome.result->returnData() : Value();
  }
};

TEST_F(RecordedData, OfASignInIsTheUsersRecord) {
  for (const auto& [name, operation] :
       {std::pair{"login-success", kLogin}, std::pair{"openid-login-first", kLoginOpenID},
        std::pair{"openid-v2-login", kLoginV2}}) {
    const Value data = dataOf(name, operation);
    ASSERT_NE(data.dictionary(), nullptr) << name;
    const bool isV2 = operation.name == "LoginV2";
    EXPECT_EQ((*data.dictionary())[isV2 ? "Cus_id" : "cus_id"], Value("C00001001")) << name;
  }
  const Value ada = dataOf("login-success", kLogin);
  EXPECT_EQ((*ada.dictionary())["nick_name"], Value("Ada & <Byron> 妮"));
}

TEST_F(RecordedData, OfARegistrationIsTheCustomerNumber) {
  EXPECT_EQ(dataOf("register-success", kRegister), Value(Dictionary{{"cus_id", "C00001001"}}));
}

TEST_F(RecordedData, OfACommonCallIsTheParsedValue) {
  EXPECT_EQ(dataOf("common-check-login", kCommon),
            Value(Dictionary{{"login", "free@orva.example"}, {"available", true}}));
  EXPECT_EQ(dataOf("common-update-profile", kCommon), Value(Dictionary()));
}

TEST_F(RecordedData, OfAWebSessionIsItsAddress) {
  EXPECT_EQ(dataOf("web-sso-success", kWebSSO), Value("https://account.orva.example/sso/${token}"));
}

TEST_F(RecordedData, OfAUserIsADocument) {
  const auto parser = dataOf("user-data-success", kUserData).objectOf<XMLParser>();
  ASSERT_NE(parser, nullptr);
  EXPECT_TRUE(parser->parse());
}

}  // namespace
}  // namespace orx
