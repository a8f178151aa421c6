// The JSON operations for accounts of other providers; always at the global production server.

#include <ORXAccount/ORVAAccountAPI.h>
#include <ORXAccount/ORVAAccountConstants.h>

#include <stdexcept>
#include <utility>

#include "config/Servers.h"
#include "platform/base/Integers.h"
#include "platform/formats/JSONSerialization.h"
#include "platform/http/Transport.h"
#include "platform/http/URLSessionConfiguration.h"
#include "service/Answer.h"
#include "service/CompletionHandler.h"
#include "service/ServiceError.h"

namespace orx {

using namespace platform;
using namespace service;
using namespace config;

namespace {

constexpr std::string_view kRegisterPath = "/api/OpenIdApi/Register";
constexpr std::string_view kLoginPath = "/api/OpenIdApi/Login";

}  // namespace

void ORVAAccountAPI::registerV2WithParameters_completeHandler(
    const Dictionary& parameters, ORVAAccountAPICompletionHandler completeHandler) {
  startJSONCall(kRegisterPath, parameters, std::move(completeHandler));
}

void ORVAAccountAPI::loginOpenIDV2WithParameters_completionHandler(
    const Dictionary& parameters, ORVAAccountAPICompletionHandler completionHandler) {
  startJSONCall(kLoginPath, parameters, std::move(completionHandler));
}

// The two operations differ in the path alone. The credentials replace any that the caller's
// parameters hold.
void ORVAAccountAPI::startJSONCall(std::string_view path, Dictionary parameters,
                                   ORVAAccountAPICompletionHandler completionHandler) {
  if (!appID_ || !appKey_) {
    throw std::invalid_argument("the call needs an application ID and an application key");
  }
  parameters.set(kORVAAccountAppID, *appID_);
  parameters.set(kORVAAccountAppKey, *appKey_);
  auto replyHandler = [this, self = shared_from_this(),
                       handler =
                           required(std::move(completionHandler))](const TransferOutcome& reply) {
    if (reply.error) return handler(nullptr, reply.error);
    if (reply.statusCode != kStatusOK) {
      return handler(nullptr, statusError(reply.statusCode));
    }
    const auto root = JSONObjectWithText(textOf(reply));
    if (!root) return handler(nullptr, root.error());
    const Dictionary* answer = root->dictionary();
    if (answer == nullptr) {
      return handler(nullptr, unexpectedJSONError("the answer is not a JSON object"));
    }
    const Value& status = (*answer)["Status"];
    if (status.array() != nullptr || status.dictionary() != nullptr) {
      return handler(nullptr, unexpectedJSONError("the answer's Status is not a number"));
    }
    const std::optional<std::string> message = (*answer)["Message"].text();
    if (intValue(status) != 0) return handler(nullptr, errorWithDescription(message.value_or("")));
    handler(makeResult(message, (*answer)["Result"]), nullptr);
  };
  startTransfer({.url = serviceURL(ServerSet::Global, path),
                 .httpBody = textWithJSONObject(parameters),
                 .contentType = "application/json"},
                sharedDefaultConfiguration(), std::move(replyHandler));
}

}  // namespace orx
