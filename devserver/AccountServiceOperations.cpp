// SPDX-License-Identifier: MIT
#include <map>

#include "devserver/Lists.h"
#include "devserver/Operations.h"
#include "devserver/ResultTexts.h"
#include "devserver/UserRecord.h"

namespace orx::devserver {
namespace {

// At this endpoint 0 is success; the other codes tell what was wrong.
constexpr const char* kCredentials = "-1";
constexpr const char* kUnknownOperation = "-2";
constexpr const char* kBadParameters = "-3";
constexpr const char* kUnknownTicket = "-4";

ResultFields success(std::string data, std::string dataType) {
  return {"0", std::string(text::kSuccess), std::move(dataType), std::move(data)};
}

ResultFields failure(const char* code, std::string_view reason) {
  return {code, std::string(reason), "String", ""};
}

ResultFields userData(Environment& environment, const Parameters& parameters, const std::string&) {
  const auto account = environment.accounts.findByTicket(parameters.get("Ticket"));
  if (!account) return failure(kUnknownTicket, text::kTicketError);
  return success(asXML(userRecord(*account, "")), "XmlString");
}

ResultFields webSSO(Environment& environment, const Parameters& parameters,
                    const std::string& host) {
  const auto account = environment.accounts.findByTicket(parameters.get("ticket"));
  if (!account) return failure(kUnknownTicket, text::kTicketError);
  // Clients do not unescape this text, so it holds no character that XML escapes.
  return success("https://" + host + kWebSSOPath + environment.tokens.issue(account->number),
                 "String");
}

ResultFields parameterList(Environment&, const Parameters& parameters, const std::string&) {
  const std::string list = parameterListJSON(parameters.get("Para"));
  if (list.empty()) return failure(kBadParameters, text::kListError);
  return success(list, "JsonString");
}

using Operation = ResultFields (*)(Environment&, const Parameters&, const std::string& host);

const std::map<std::string, Operation, std::less<>>& operations() {
  static const std::map<std::string, Operation, std::less<>> table = {
      {"sso0000004", userData},
      {"sso0000006", webSSO},
      {"secure0003", parameterList},
  };
  return table;
}

ResultFields run(Environment& environment, const CallEnvelope& call, const std::string& host) {
  const std::string refusal = environment.refusalOf(call.appID, call.appKey);
  if (!refusal.empty()) return failure(kCredentials, refusal);
  const auto operation = operations().find(call.apiID);
  if (operation == operations().end()) return failure(kUnknownOperation, text::kApiIDError);
  const auto parameters = Parameters::parse(call.parameters);
  if (!parameters) return failure(kBadParameters, text::kParametersError);
  return operation->second(environment, *parameters, host);
}

}  // namespace

HTTPResponse answerAccountService(Environment& environment, const CallEnvelope& call,
                                  const std::string& host) {
  return soapAnswer(call, run(environment, call, host));
}

}  // namespace orx::devserver
