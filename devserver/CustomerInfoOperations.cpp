// SPDX-License-Identifier: MIT
#include <map>

#include "devserver/JSONText.h"
#include "devserver/Operations.h"
#include "devserver/ResultTexts.h"
#include "devserver/UserRecord.h"

namespace orx::devserver {
namespace {

// At this endpoint 1 is success and 0 failure.
ResultFields success(std::string data, std::string dataType) {
  return {"1", std::string(text::kSuccess), std::move(dataType), std::move(data)};
}

ResultFields failure(std::string_view reason) { return {"0", std::string(reason), "String", ""}; }

ResultFields signedIn(Environment& environment, const MembershipOutcome& outcome) {
  if (!outcome.account) return failure(outcome.refusal);
  const std::string ticket = environment.membership.issueTicket(*outcome.account);
  return success(asJSONArray(userRecord(*outcome.account, ticket)), "JsonString");
}

ResultFields registerAccount(Environment& environment, const Parameters& parameters) {
  const MembershipOutcome outcome = environment.membership.registerAccount(parameters);
  if (!outcome.account) return failure(outcome.refusal);
  return success(outcome.account->customerID(), "String");
}

ResultFields signIn(Environment& environment, const Parameters& parameters) {
  return signedIn(environment, environment.membership.signIn(parameters));
}

ResultFields signInWithOpenID(Environment& environment, const Parameters& parameters) {
  return signedIn(environment,
                  environment.membership.signInWithOpenID(parameters, Membership::Unknown::Create));
}

ResultFields profile(Environment& environment, const Parameters& parameters) {
  const std::string ticket = parameters.get("ticket");
  const auto account = environment.accounts.findByTicket(ticket);
  if (!account) return failure(text::kTicketError);
  return success(asJSONArray(userRecord(*account, ticket)), "JsonString");
}

ResultFields updateProfile(Environment& environment, const Parameters& parameters) {
  const auto account = environment.accounts.findByTicket(parameters.get("ticket"));
  if (!account) return failure(text::kTicketError);
  environment.accounts.updateProfile(account->number, profileFrom(parameters));
  return success("", "String");
}

ResultFields checkLogin(Environment& environment, const Parameters& parameters) {
  const std::string login = parameters.get("login");
  if (login.empty()) return failure(text::kParametersError);
  const bool taken = environment.accounts.findByLogin(login).has_value();
  return success(
      "{\"login\":" + jsonString(login) + ",\"available\":" + (taken ? "false" : "true") + "}",
      "JsonString");
}

using Operation = ResultFields (*)(Environment&, const Parameters&);

const std::map<std::string, Operation, std::less<>>& operations() {
  static const std::map<std::string, Operation, std::less<>> table = {
      {"w000000011", signIn},     {"w000000012", registerAccount},
      {"w000000013", profile},    {"w000000014", updateProfile},
      {"w000000015", checkLogin}, {"w000000019", signInWithOpenID},
  };
  return table;
}

ResultFields run(Environment& environment, const CallEnvelope& call) {
  const std::string refusal = environment.refusalOf(call.appID, call.appKey);
  if (!refusal.empty()) return failure(refusal);
  const auto operation = operations().find(call.apiID);
  if (operation == operations().end()) return failure(text::kApiIDError);
  const auto parameters = Parameters::parse(call.parameters);
  if (!parameters) return failure(text::kParametersError);
  return operation->second(environment, *parameters);
}

}  // namespace

std::string Environment::refusalOf(const std::string& appID, const std::string& appKey) const {
  const auto application = applications.find(appID);
  if (application == applications.end()) return std::string(text::kAppIDError);
  return application->second == appKey ? std::string() : std::string(text::kAppKeyError);
}

HTTPResponse answerCustomerInfo(Environment& environment, const CallEnvelope& call) {
  return soapAnswer(call, run(environment, call));
}

}  // namespace orx::devserver
