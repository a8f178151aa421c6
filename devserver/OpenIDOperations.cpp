// SPDX-License-Identifier: MIT
#include <sstream>

#include "devserver/JSONText.h"
#include "devserver/Operations.h"
#include "devserver/ResultTexts.h"
#include "devserver/UserRecord.h"

namespace orx::devserver {
namespace {

HTTPResponse json(int status, std::string body) {
  return {
      status, "application/json; charset=utf-8", std::move(body), {{"Cache-Control", "no-store"}}};
}

// Status 0 is success here; a refusal has no result.
HTTPResponse answer(std::string_view message, const std::string& result) {
  const bool good = !result.empty();
  const char status = good ? '0' : '1';
  std::ostringstream text;
  text << R"({"Status":)" << status << R"(,"Message":)" << jsonString(message) << R"(,"Result":)"
       << (good ? result : "null") << "}";
  HTTPResponse response = json(200, text.str());
  response.resultCode.assign(1, status);
  return response;
}

std::string resultOf(Environment& environment, OpenIDCall call, const Account& account) {
  if (call == OpenIDCall::Register) {
    return jsonObject({{"Cus_id", account.customerID()}, {"Login", account.login}});
  }
  return asCapitalisedJSON(userRecord(account, environment.membership.issueTicket(account)));
}

}  // namespace

HTTPResponse answerOpenID(Environment& environment, OpenIDCall call, const std::string& body) {
  const auto parameters = Parameters::parse(body);
  if (!parameters) return json(400, R"({"Message":"The request is invalid."})");
  if (!parameters->has("AppID") || !parameters->has("AppKey")) {
    return json(401, R"({"Message":"Authorization has been denied for this request."})");
  }
  const std::string refusal =
      environment.refusalOf(parameters->get("AppID"), parameters->get("AppKey"));
  if (!refusal.empty()) return answer(refusal, "");
  Membership& membership = environment.membership;
  const MembershipOutcome outcome =
      call == OpenIDCall::Register
          ? membership.registerOpenID(*parameters)
          : membership.signInWithOpenID(*parameters, Membership::Unknown::Refuse);
  if (!outcome.account) return answer(outcome.refusal, "");
  return answer(text::kSuccess, resultOf(environment, call, *outcome.account));
}

}  // namespace orx::devserver
