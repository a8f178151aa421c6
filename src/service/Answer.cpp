// SPDX-License-Identifier: MIT
#include "service/Answer.h"

#include <ORXAccount/WorkerHandler.h>

#include <stdexcept>
#include <utility>

#include "platform/formats/JSONSerialization.h"
#include "platform/process/ForkSafety.h"

namespace orx::service {

using namespace platform;

namespace {

void require(const ORVAAccountAPICompletionHandler& completionHandler) {
  if (!completionHandler) throw std::invalid_argument("a call needs a completion handler");
}

}  // namespace

SharedHandler required(ORVAAccountAPICompletionHandler completionHandler) {
  require(completionHandler);
  return std::make_shared<ORVAAccountAPICompletionHandler>(std::move(completionHandler));
}

std::shared_ptr<Error> outOfMemoryError() {
  static constinit ProcessWide<std::shared_ptr<Error>> error;
  return error.get([] {
    return makeFailure(NSURLErrorDomain, NSURLErrorUnknown,
                       "The reply came and could not be read: memory has run out.")
        .value();
  });
}

TransferHandler answering(ORVAAccountAPICompletionHandler completionHandler, AnswerRule rule,
                          std::shared_ptr<const Object> keptAlive) {
  require(completionHandler);
  outOfMemoryError();
  // The rule is a plain function, so a pending call holds nothing but the handler and `keptAlive`.
  return [handler = std::move(completionHandler), rule,
          keptAlive = std::move(keptAlive)](const TransferOutcome& reply) mutable {
    const auto kind = kindOf(handler);
    callBack(kind, [answer = answerOf([&] { return rule(reply); }),
                    handler = std::move(handler)]() mutable {
      hand(answer, std::exchange(handler, nullptr));
    });
  };
}

CallbackKind kindOf(const ORVAAccountAPICompletionHandler& completionHandler) {
  return completionHandler.target<WorkerHandler>() != nullptr ? CallbackKind::Own
                                                              : CallbackKind::Handler;
}

void hand(const Answer& answer, const ORVAAccountAPICompletionHandler& completionHandler) {
  // A host has put a task back into the list that was reported already.
  if (!completionHandler) return;
  if (!answer) return completionHandler(nullptr, answer.error());
  completionHandler(*answer, nullptr);
}

void report(Answer answer, const SharedHandler& completionHandler) {
  report(std::move(answer), completionHandler, [] {});
}

std::string_view textOf(const TransferOutcome& reply) {
  return reply.data ? reply.data->text() : std::string_view();
}

ResultBlock resultBlockIn(const TransferOutcome& reply, ResultBlockPattern pattern) {
  return matchResultBlock(textOf(reply), pattern).value_or(ResultBlock{});
}

Value parsedJSON(std::string_view text) { return JSONObjectWithText(text).value_or(Value()); }

std::shared_ptr<ORVAAccountAPIResult> makeResult(std::optional<std::string> description,
                                                 Value returnData) {
  auto result = ORVAAccountAPIResult::init();
  result->setResultDescription(std::move(description));
  result->setReturnData(std::move(returnData));
  return result;
}

}  // namespace orx::service
