// SPDX-License-Identifier: MIT
// The JSON operations for accounts of other providers; always at the global production server.

#include <ORXAccount/ORVAAccountAPI.h>
#include <ORXAccount/ORVAAccountConstants.h>

#include <stdexcept>
#include <utility>

#include "config/Servers.h"
#include "platform/base/Integers.h"
#include "platform/formats/JSONSerialization.h"
#include "platform/http/Transport.h"
#include "service/Answer.h"
#include "service/ServiceError.h"

namespace orx {

using namespace platform;
using namespace service;
using namespace config;

namespace {

constexpr std::string_view kRegisterPath = "/api/OpenIdApi/Register";
constexpr std::string_view kLoginPath = "/api/OpenIdApi/Login";

Failure unexpectedJSON(std::string_view description) {
  return makeFailure(NSCocoaErrorDomain, NSPropertyListReadCorruptError, std::string(description));
}

// A number counts by its digits, all of them: those of a large integer, which a double would round,
// are read again.
std::optional<std::string> messageOf(const Dictionary& answer, const TransferOutcome& reply) {
  constexpr std::string_view kMessage = "Message";
  const Value& message = answer[kMessage];
  if (message.kind() != Value::Kind::Double) return message.text();
  const auto again = JSONObjectWithText(textOf(reply), LargeIntegers::Text);
  return (*again->dictionary())[kMessage].text();
}

// The error comes first, then the status: only a whole answer with status 200 is read. In it, a
// Status of 0 is success.
Answer openIDAnswer(const TransferOutcome& reply) {
  if (reply.error) return Failure(reply.error);
  if (reply.statusCode != kStatusOK) return Failure(statusError(reply.statusCode));
  const auto root = JSONObjectWithText(textOf(reply));
  if (!root) return Failure(root.error());
  const Dictionary* answer = root->dictionary();
  if (answer == nullptr) return unexpectedJSON("the answer is not a JSON object");
  const Value& status = (*answer)["Status"];
  if (status.array() != nullptr || status.dictionary() != nullptr) {
    return unexpectedJSON("the answer's Status is not a number");
  }
  const std::optional<std::string> message = messageOf(*answer, reply);
  // A Status that is missing reads as 0.
  if (intValue(status) != 0) return Failure(refusalError(message.value_or("")));
  return makeResult(message, (*answer)["Result"]);
}

// The two operations differ in the path alone. The credentials replace any that the caller's
// parameters hold. The client lives until the reply has been read.
void startJSONCall(ORVAAccountAPI& client, std::string_view path, Dictionary parameters,
                   ORVAAccountAPICompletionHandler completionHandler) {
  if (!client.appID() || !client.appKey()) {
    throw std::invalid_argument("the call needs an application ID and an application key");
  }
  parameters.set(kORVAAccountAppID, *client.appID());
  parameters.set(kORVAAccountAppKey, *client.appKey());
  startTransfer({.url = serviceURL(ServerSet::Global, path),
                 .httpBody = textWithJSONObject(parameters),
                 .contentType = "application/json"},
                URLSessionConfiguration::defaultConfiguration(),
                answering(std::move(completionHandler), openIDAnswer, client.shared_from_this()));
}

}  // namespace

void ORVAAccountAPI::registerV2WithParameters_completeHandler(
    const Dictionary& parameters, ORVAAccountAPICompletionHandler completeHandler) {
  startJSONCall(*this, kRegisterPath, parameters, std::move(completeHandler));
}

void ORVAAccountAPI::loginOpenIDV2WithParameters_completionHandler(
    const Dictionary& parameters, ORVAAccountAPICompletionHandler completionHandler) {
  startJSONCall(*this, kLoginPath, parameters, std::move(completionHandler));
}

}  // namespace orx
