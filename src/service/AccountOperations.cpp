// SPDX-License-Identifier: MIT
// The operations of the customer-info endpoint, and web single sign-on. What each tests first, what
// it counts as success and what it hands back is its own; the differences are the service's.

#include <ORXAccount/ORVAAccountAPI.h>
#include <ORXAccount/ORVAAccountConstants.h>

#include <utility>

#include "platform/base/Integers.h"
#include "platform/formats/JSONSerialization.h"
#include "service/Answer.h"
#include "service/SOAPCall.h"
#include "service/ServiceError.h"

namespace orx {

using namespace platform;
using namespace service;
using namespace config;

namespace {

constexpr std::string_view kLoginOpenIDAPIID = "w000000019";
constexpr std::string_view kWebSSOAPIID = "sso0000006";

Value firstElementOf(const Value& value) {
  const Array* array = value.array();
  return array != nullptr ? (*array)[0] : Value();
}

// ---- The rules. The first three do not look at the error when there is a response: what arrived
// of a broken body is read, and so is the body of any status. ----

Answer commonAnswer(const TransferOutcome& reply) {
  if (reply.statusCode == 0) return Failure(reply.error);
  const ResultBlock block = resultBlockIn(reply, ResultBlockPattern::Lenient);
  std::string description(block.resultDescription);
  if (longLongValue(block.resultCode) != 1) return Failure(refusalError(description));
  // An array is handed on whole, whatever it holds.
  const std::string_view json = block.returnData.value_or("");
  return makeResult(std::move(description), json.empty() ? Value(Dictionary()) : parsedJSON(json));
}

// Any code but 0 is success, a negative one too.
Answer registrationAnswer(const TransferOutcome& reply) {
  if (reply.statusCode == 0) return Failure(reply.error);
  const ResultBlock block = resultBlockIn(reply, ResultBlockPattern::Lenient);
  std::string description(block.resultDescription);
  if (longLongValue(block.resultCode) == 0) return Failure(refusalError(description));
  const Dictionary customer{{kORVAAccountCusID, block.returnData.value_or("")}};
  return makeResult(std::move(description), customer);
}

// The answer holds a list of records, of which the first is the user's.
Answer loginAnswer(const TransferOutcome& reply) {
  if (reply.statusCode == 0) return Failure(reply.error);
  const ResultBlock block = resultBlockIn(reply, ResultBlockPattern::Lenient);
  std::string description(block.resultDescription);
  if (intValue(block.resultCode) != 1) return Failure(refusalError(description));
  const Value record = firstElementOf(parsedJSON(block.returnData.value_or("")));
  return makeResult(std::move(description), record);
}

// The error comes first here, and the service's own result code is not looked at: a refusal with
// status 200 is a result that carries the service's words.
Answer webSSOAnswer(const TransferOutcome& reply) {
  if (reply.error) return Failure(reply.error);
  if (reply.statusCode != kStatusOK) return Failure(statusError(reply.statusCode));
  const ResultBlock block = resultBlockIn(reply, ResultBlockPattern::Strict);
  return makeResult(std::string(block.resultDescription), block.returnData.value_or(""));
}

// Keeps the client alive until the reply has been read.
void startCustomerInfoCall(ORVAAccountAPI& client, std::string_view apiID,
                           const Dictionary& parameters,
                           ORVAAccountAPICompletionHandler completionHandler, AnswerRule rule) {
  startSOAPCall({.envelope = envelopes().paraJson,
                 .path = kCustomerInfoPath,
                 .apiID = apiID,
                 .parameterText = textWithJSONObject(parameters)},
                {client.appID(), client.appKey()},
                answering(std::move(completionHandler), rule, client.shared_from_this()));
}

}  // namespace

void ORVAAccountAPI::commonWithApiId_parameters_completionHandler(
    std::string_view apiId, const Dictionary& parameters,
    ORVAAccountAPICompletionHandler completionHandler) {
  startCustomerInfoCall(*this, apiId, parameters, std::move(completionHandler), commonAnswer);
}

void ORVAAccountAPI::register_completeHandler(const Dictionary& parameters,
                                              ORVAAccountAPICompletionHandler completeHandler) {
  startCustomerInfoCall(*this, registerAPIID, parameters, std::move(completeHandler),
                        registrationAnswer);
}

void ORVAAccountAPI::login_completionHandler(const Dictionary& parameters,
                                             ORVAAccountAPICompletionHandler completionHandler) {
  startCustomerInfoCall(*this, loginAPIID, parameters, std::move(completionHandler), loginAnswer);
}

// Differs from the sign-in with a password in the operation identifier alone.
void ORVAAccountAPI::loginOpenID_completionHandler(
    const Dictionary& parameters, ORVAAccountAPICompletionHandler completionHandler) {
  startCustomerInfoCall(*this, kLoginOpenIDAPIID, parameters, std::move(completionHandler),
                        loginAnswer);
}

void ORVAAccountAPI::apToWebSSOWithParameters_completionHandler(
    const Dictionary& parameters, ORVAAccountAPICompletionHandler completionHandler) {
  startSOAPCall({.envelope = envelopes().soap11Header,
                 .path = kAccountServicePath,
                 .apiID = kWebSSOAPIID,
                 .parameterText = textWithJSONObject(parameters)},
                {appID(), appKey()},
                answering(std::move(completionHandler), webSSOAnswer, nullptr));
}

}  // namespace orx
