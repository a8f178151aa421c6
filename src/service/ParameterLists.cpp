// The service's lists of values. Every answer is a result: a caller tells failure by null data.

#include <ORXAccount/ORVAAccountAPI.h>
#include <ORXAccount/ORVAAccountConstants.h>

#include <utility>

#include "service/Answer.h"
#include "service/CompletionHandler.h"
#include "service/SOAPCall.h"

namespace orx {

namespace {

constexpr std::string_view kParameterListAPIID = "secure0003";

}  // namespace

void ORVAAccountAPI::parameterListWithName_completionHandler(
    std::string_view name, ORVAAccountAPICompletionHandler completionHandler) {
  auto answerHandler = [handler = required(std::move(completionHandler))](
                           const platform::TransferOutcome& outcome) {
    const ResultBlock block = resultBlockIn(outcome.data, ResultBlockPattern::Strict);
    handler(
        makeResult(std::string(block.resultDescription), parsedJSON(block.returnData.value_or(""))),
        nullptr);
  };
  startSOAPCall({.envelope = soap11_header_request_pattern,
                 .path = kAccountServicePath,
                 .apiID = kParameterListAPIID,
                 .parameterText = R"({"Para":")" + std::string(name) + R"("})"},
                {appID_, appKey_}, std::move(answerHandler));
}

void ORVAAccountAPI::countryListWithCompletionHandler(
    ORVAAccountAPICompletionHandler completionHandler) {
  parameterListWithName_completionHandler(kORVAAccountCountry, std::move(completionHandler));
}

void ORVAAccountAPI::educationListWithCompletionHandler(
    ORVAAccountAPICompletionHandler completionHandler) {
  parameterListWithName_completionHandler(kORVAAccountCountry, std::move(completionHandler));
}

void ORVAAccountAPI::professionalListWithCompletionHandler(
    ORVAAccountAPICompletionHandler completionHandler) {
  parameterListWithName_completionHandler(kORVAAccountProfession, std::move(completionHandler));
}

}  // namespace orx
