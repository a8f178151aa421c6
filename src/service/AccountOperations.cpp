// The operations of the customer-info endpoint, and web single sign-on. What each tests first, what
// it counts as success and what it hands back is its own; the differences are the service's.

#include <ORXAccount/ORVAAccountAPI.h>
#include <ORXAccount/ORVAAccountConstants.h>

#include <utility>

#include "platform/base/Integers.h"
#include "service/Answer.h"
#include "service/CompletionHandler.h"
#include "service/SOAPCall.h"
#include "service/ServiceError.h"

namespace orx {

using namespace platform;

namespace {

constexpr std::string_view kLoginOpenIDAPIID = "w000000019";
constexpr std::string_view kWebSSOAPIID = "sso0000006";

Value firstElementOf(const Value& value) {
  const Array* array = value.array();
  return array != nullptr && !array->empty() ? array->front() : Value();
}

SOAPCall customerInfoCall(std::string_view apiID, const std::optional<Dictionary>& parameters) {
  return {.envelope = lumcusinfo_asmx_pattern,
          .path = kCustomerInfoPath,
          .apiID = apiID,
          .parameterText = parameterText(parameters)};
}

// Password and OpenID sign-in differ in the operation identifier alone.
TransferHandler loginAnswerHandler(std::shared_ptr<const ORVAAccountAPI> api,
                                   ORVAAccountAPICompletionHandler handler) {
  return [api = std::move(api), handler = std::move(handler)](const TransferOutcome& outcome) {
    if (outcome.statusCode == 0) return handler(nullptr, outcome.error);
    const ResultBlock block = resultBlockIn(outcome.data, ResultBlockPattern::Lenient);
    std::string description(block.resultDescription);
    if (intValue(block.resultCode) != 1) {
      return handler(nullptr, api->errorWithDescription(description));
    }
    const Value record = firstElementOf(parsedJSON(block.returnData.value_or("")));
    handler(makeResult(std::move(description), record), nullptr);
  };
}

}  // namespace

void ORVAAccountAPI::commonWithApiId_parameters_completionHandler(
    std::string_view apiId, const std::optional<Dictionary>& parameters,
    ORVAAccountAPICompletionHandler completionHandler) {
  auto answerHandler =
      [api = shared_from_this(), this,
       handler = required(std::move(completionHandler))](const TransferOutcome& outcome) {
        if (outcome.statusCode == 0) return handler(nullptr, outcome.error);
        const ResultBlock block = resultBlockIn(outcome.data, ResultBlockPattern::Lenient);
        std::string description(block.resultDescription);
        if (longLongValue(block.resultCode) != 1) {
          return handler(nullptr, errorWithDescription(description));
        }
        Value returnData = Dictionary();
        if (!block.returnData.value_or("").empty()) returnData = parsedJSON(*block.returnData);
        handler(makeResult(std::move(description), std::move(returnData)), nullptr);
      };
  startSOAPCall(customerInfoCall(apiId, parameters), {appID_, appKey_}, std::move(answerHandler));
}

void ORVAAccountAPI::register_completeHandler(const std::optional<Dictionary>& parameters,
                                              ORVAAccountAPICompletionHandler completeHandler) {
  auto answerHandler = [api = shared_from_this(), this,
                        handler =
                            required(std::move(completeHandler))](const TransferOutcome& outcome) {
    if (outcome.statusCode == 0) return handler(nullptr, outcome.error);
    const ResultBlock block = resultBlockIn(outcome.data, ResultBlockPattern::Lenient);
    std::string description(block.resultDescription);
    if (longLongValue(block.resultCode) == 0) {
      return handler(nullptr, errorWithDescription(description));
    }
    const Dictionary customer{{std::string(kORVAAccountCusID), block.returnData.value_or("")}};
    handler(makeResult(std::move(description), customer), nullptr);
  };
  startSOAPCall(customerInfoCall(registerAPIID, parameters), {appID_, appKey_},
                std::move(answerHandler));
}

void ORVAAccountAPI::login_completionHandler(const std::optional<Dictionary>& parameters,
                                             ORVAAccountAPICompletionHandler completionHandler) {
  auto self = std::static_pointer_cast<const ORVAAccountAPI>(shared_from_this());
  startSOAPCall(customerInfoCall(loginAPIID, parameters), {appID_, appKey_},
                loginAnswerHandler(std::move(self), required(std::move(completionHandler))));
}

void ORVAAccountAPI::loginOpenID_completionHandler(
    const std::optional<Dictionary>& parameters,
    ORVAAccountAPICompletionHandler completionHandler) {
  auto self = std::static_pointer_cast<const ORVAAccountAPI>(shared_from_this());
  startSOAPCall(customerInfoCall(kLoginOpenIDAPIID, parameters), {appID_, appKey_},
                loginAnswerHandler(std::move(self), required(std::move(completionHandler))));
}

void ORVAAccountAPI::apToWebSSOWithParameters_completionHandler(
    const std::optional<Dictionary>& parameters,
    ORVAAccountAPICompletionHandler completionHandler) {
  auto answerHandler =
      [handler = required(std::move(completionHandler))](const TransferOutcome& outcome) {
        if (outcome.error) return handler(nullptr, outcome.error);
        if (outcome.statusCode != kStatusOK) {
          return handler(nullptr, statusError(outcome.statusCode));
        }
        const ResultBlock block = resultBlockIn(outcome.data, ResultBlockPattern::Strict);
        handler(makeResult(std::string(block.resultDescription), block.returnData.value_or("")),
                nullptr);
      };
  startSOAPCall({.envelope = soap11_header_request_pattern,
                 .path = kAccountServicePath,
                 .apiID = kWebSSOAPIID,
                 .parameterText = parameterText(parameters)},
                {appID_, appKey_}, std::move(answerHandler));
}

}  // namespace orx
