// SPDX-License-Identifier: MIT
// The service's lists of values. Every answer that there is memory for is a result: a caller tells
// failure by null data.

#include <ORXAccount/ORVAAccountAPI.h>
#include <ORXAccount/ORVAAccountConstants.h>

#include <utility>

#include "service/Answer.h"
#include "service/SOAPCall.h"

namespace orx {

using namespace platform;
using namespace service;
using namespace config;

namespace {

constexpr std::string_view kParameterListAPIID = "secure0003";

// The status is not looked at, and a failed transfer is a result as well. Without a body, or
// without a block in it, the data is null.
Answer listAnswer(const TransferOutcome& reply) {
  const ResultBlock block = resultBlockIn(reply, ResultBlockPattern::Strict);
  auto result =
      makeResult(std::string(block.resultDescription), parsedJSON(block.returnData.value_or("")));
  result->setTransferError(reply.error);
  return result;
}

}  // namespace

// The name goes into the JSON as it stands, so one that holds a quote makes text that is no JSON.
void ORVAAccountAPI::parameterListWithName_completionHandler(
    std::string_view name, ORVAAccountAPICompletionHandler completionHandler) {
  startSOAPCall({.envelope = envelopes().soap11Header,
                 .path = kAccountServicePath,
                 .apiID = kParameterListAPIID,
                 .parameterText = R"({"Para":")" + std::string(name) + R"("})"},
                {appID(), appKey()}, answering(std::move(completionHandler), listAnswer, nullptr));
}

void ORVAAccountAPI::countryListWithCompletionHandler(
    ORVAAccountAPICompletionHandler completionHandler) {
  parameterListWithName_completionHandler(kORVAAccountCountry, std::move(completionHandler));
}

// The service keeps this list under the name of the country list too.
void ORVAAccountAPI::educationListWithCompletionHandler(
    ORVAAccountAPICompletionHandler completionHandler) {
  parameterListWithName_completionHandler(kORVAAccountCountry, std::move(completionHandler));
}

void ORVAAccountAPI::professionalListWithCompletionHandler(
    ORVAAccountAPICompletionHandler completionHandler) {
  parameterListWithName_completionHandler(kORVAAccountProfession, std::move(completionHandler));
}

}  // namespace orx
