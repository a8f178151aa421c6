// The operations of the customer-info endpoint, and web single sign-on. What each tests first, what
// it counts as success and what it hands back is its own; the differences are the service's.
//
// A handler that captures the client keeps it alive until the reply has been read.

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
using namespace service;
using namespace config;

namespace {

constexpr std::string_view kLoginOpenIDAPIID = "w000000019";
constexpr std::string_view kWebSSOAPIID = "sso0000006";

Value firstElementOf(const Value& value) {
  const Array* array = value.array();
  return array != nullptr && !array->empty() ? array->front() : Value();
}

SOAPCall customerInfoCall(std::string_view apiID, const Dictionary& parameters) {
  return {.envelope = lumcusinfo_asmx_pattern,
          .path = kCustomerInfoPath,
          .apiID = apiID,
          .parameterText = parameterText(parameters)};
}

}  // namespace

// The error is not looked at when there is a response: what arrived of a broken body is read, and
// so is the body of any status. This holds for registration and the two sign-ins below as well.
void ORVAAccountAPI::commonWithApiId_parameters_completionHandler(
    std::string_view apiId, const Dictionary& parameters,
    ORVAAccountAPICompletionHandler completionHandler) {
  auto replyHandler = [this, self = shared_from_this(),
                       handler =
                           required(std::move(completionHandler))](const TransferOutcome& reply) {
    if (reply.statusCode == 0) return handler(nullptr, reply.error);
    const ResultBlock block = resultBlockIn(reply, ResultBlockPattern::Lenient);
    const std::string description(block.resultDescription);
    if (longLongValue(block.resultCode) != 1) {
      return handler(nullptr, errorWithDescription(description));
    }
    // An array is handed on whole, whatever it holds.
    const std::string_view json = block.returnData.value_or("");
    handler(makeResult(description, json.empty() ? Value(Dictionary()) : parsedJSON(json)),
            nullptr);
  };
  startSOAPCall(customerInfoCall(apiId, parameters), {appID_, appKey_}, std::move(replyHandler));
}

// Any code but 0 is success, a negative one too.
void ORVAAccountAPI::register_completeHandler(const Dictionary& parameters,
                                              ORVAAccountAPICompletionHandler completeHandler) {
  auto replyHandler = [this, self = shared_from_this(),
                       handler =
                           required(std::move(completeHandler))](const TransferOutcome& reply) {
    if (reply.statusCode == 0) return handler(nullptr, reply.error);
    const ResultBlock block = resultBlockIn(reply, ResultBlockPattern::Lenient);
    const std::string description(block.resultDescription);
    if (longLongValue(block.resultCode) == 0) {
      return handler(nullptr, errorWithDescription(description));
    }
    const Dictionary customer{{kORVAAccountCusID, block.returnData.value_or("")}};
    handler(makeResult(description, customer), nullptr);
  };
  startSOAPCall(customerInfoCall(registerAPIID, parameters), {appID_, appKey_},
                std::move(replyHandler));
}

void ORVAAccountAPI::login_completionHandler(const Dictionary& parameters,
                                             ORVAAccountAPICompletionHandler completionHandler) {
  startLogin(loginAPIID, parameters, std::move(completionHandler));
}

void ORVAAccountAPI::loginOpenID_completionHandler(
    const Dictionary& parameters, ORVAAccountAPICompletionHandler completionHandler) {
  startLogin(kLoginOpenIDAPIID, parameters, std::move(completionHandler));
}

// Password and OpenID sign-in differ in the operation identifier alone.
void ORVAAccountAPI::startLogin(std::string_view apiID, const Dictionary& parameters,
                                ORVAAccountAPICompletionHandler completionHandler) {
  auto replyHandler = [this, self = shared_from_this(),
                       handler =
                           required(std::move(completionHandler))](const TransferOutcome& reply) {
    if (reply.statusCode == 0) return handler(nullptr, reply.error);
    const ResultBlock block = resultBlockIn(reply, ResultBlockPattern::Lenient);
    const std::string description(block.resultDescription);
    if (intValue(block.resultCode) != 1) {
      return handler(nullptr, errorWithDescription(description));
    }
    const Value record = firstElementOf(parsedJSON(block.returnData.value_or("")));
    handler(makeResult(description, record), nullptr);
  };
  startSOAPCall(customerInfoCall(apiID, parameters), {appID_, appKey_}, std::move(replyHandler));
}

// The service's own result code is not looked at: a refusal with status 200 is a result that
// carries the service's words.
void ORVAAccountAPI::apToWebSSOWithParameters_completionHandler(
    const Dictionary& parameters, ORVAAccountAPICompletionHandler completionHandler) {
  auto replyHandler = [handler =
                           required(std::move(completionHandler))](const TransferOutcome& reply) {
    if (reply.error) return handler(nullptr, reply.error);
    if (reply.statusCode != kStatusOK) {
      return handler(nullptr, statusError(reply.statusCode));
    }
    const ResultBlock block = resultBlockIn(reply, ResultBlockPattern::Strict);
    handler(makeResult(std::string(block.resultDescription), block.returnData.value_or("")),
            nullptr);
  };
  startSOAPCall({.envelope = soap11_header_request_pattern,
                 .path = kAccountServicePath,
                 .apiID = kWebSSOAPIID,
                 .parameterText = parameterText(parameters)},
                {appID_, appKey_}, std::move(replyHandler));
}

}  // namespace orx
