// The JSON operations for accounts of other providers; always at the global production server.

#include <ORXAccount/ORVAAccountAPI.h>
#include <ORXAccount/ORVAAccountConstants.h>

#include <stdexcept>
#include <utility>

#include "platform/base/Integers.h"
#include "platform/formats/JSONSerialization.h"
#include "service/Answer.h"
#include "service/CompletionHandler.h"
#include "service/Post.h"
#include "service/SOAPCall.h"
#include "service/ServiceError.h"

namespace orx {

using namespace platform;

namespace {

constexpr std::string_view kRegisterPath = "/api/OpenIdApi/Register";
constexpr std::string_view kLoginPath = "/api/OpenIdApi/Login";

// The caller's parameters with the application's credentials in place of any that they hold.
std::string bodyText(const std::optional<Dictionary>& parameters, const Credentials& credentials) {
  if (!credentials.appID || !credentials.appKey) {
    throw std::invalid_argument("the call needs an application ID and an application key");
  }
  Dictionary body = parameters.value_or(Dictionary());
  body.set(std::string(kORVAAccountAppID), *credentials.appID);
  body.set(std::string(kORVAAccountAppKey), *credentials.appKey);
  return textWithJSONObject(body);
}

void reportAnswer(const Dictionary& answer, const ORVAAccountAPI& api,
                  const ORVAAccountAPICompletionHandler& handler) {
  const Value& status = answer["Status"];
  if (status.array() != nullptr || status.dictionary() != nullptr) {
    return handler(nullptr, unexpectedJSONError("the answer's Status is not a number"));
  }
  std::optional<std::string> message = answer["Message"].text();
  if (intValue(status) != 0) {
    return handler(nullptr, api.errorWithDescription(message.value_or("")));
  }
  handler(makeResult(std::move(message), answer["Result"]), nullptr);
}

URLSession::CompletionHandler jsonAnswerHandler(std::shared_ptr<const ORVAAccountAPI> api,
                                                ORVAAccountAPICompletionHandler handler) {
  return [api = std::move(api), handler = std::move(handler)](
             const std::optional<Data>& data, const std::shared_ptr<HTTPURLResponse>& response,
             const std::shared_ptr<Error>& error) {
    if (error) return handler(nullptr, error);
    if (response->statusCode() != kStatusOK) {
      return handler(nullptr, statusError(response->statusCode()));
    }
    const auto root = JSONObjectWithText(data ? data->text() : "");
    if (!root) return handler(nullptr, root.error());
    const Dictionary* answer = root->dictionary();
    if (answer == nullptr) {
      return handler(nullptr, unexpectedJSONError("the answer is not a JSON object"));
    }
    reportAnswer(*answer, *api, handler);
  };
}

void startJSONCall(std::string_view path, std::string body,
                   URLSession::CompletionHandler completionHandler) {
  startPost(serviceURL(ServerSet::Global, path), PostContent::json, std::move(body),
            std::move(completionHandler));
}

}  // namespace

void ORVAAccountAPI::registerV2WithParameters_completeHandler(
    const std::optional<Dictionary>& parameters, ORVAAccountAPICompletionHandler completeHandler) {
  auto self = std::static_pointer_cast<const ORVAAccountAPI>(shared_from_this());
  startJSONCall(kRegisterPath, bodyText(parameters, {appID_, appKey_}),
                jsonAnswerHandler(std::move(self), required(std::move(completeHandler))));
}

void ORVAAccountAPI::loginOpenIDV2WithParameters_completionHandler(
    const std::optional<Dictionary>& parameters,
    ORVAAccountAPICompletionHandler completionHandler) {
  auto self = std::static_pointer_cast<const ORVAAccountAPI>(shared_from_this());
  startJSONCall(kLoginPath, bodyText(parameters, {appID_, appKey_}),
                jsonAnswerHandler(std::move(self), required(std::move(completionHandler))));
}

}  // namespace orx
