// SPDX-License-Identifier: MIT
#pragma once

#include <ORXAccount/ORVAAccountAPI.h>
#include <ORXAccount/platform/Value.h>

#include <memory>
#include <new>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "platform/base/Result.h"
#include "platform/http/Transport.h"
#include "platform/queues/Callback.h"
#include "service/ResultBlock.h"

namespace orx::service {

// The status that an operation wants when it looks at the status at all.
inline constexpr long kStatusOK = 200;

// What an operation makes of a reply: the result that it reports, or the error.
using Answer = platform::Result<std::shared_ptr<ORVAAccountAPIResult>>;

// The rule of one operation: which replies are a success, and what is handed back.
using AnswerRule = Answer (*)(const platform::TransferOutcome& reply);

// The handler, for as many holders as its call has. Throws std::invalid_argument when it is empty:
// its call could never report.
using SharedHandler = std::shared_ptr<ORVAAccountAPICompletionHandler>;
SharedHandler required(ORVAAccountAPICompletionHandler completionHandler);

// The error of a reply for whose reading memory ran out (NSURLErrorDomain, NSURLErrorUnknown). Made
// by the first use, which may throw std::bad_alloc; so each call uses it before it starts.
std::shared_ptr<Error> outOfMemoryError();

// What `read` makes of a reply, or outOfMemoryError() when it throws std::bad_alloc. What memory
// had no room for is neither absent nor malformed: nothing may be concluded from it, or stored.
template <typename Read>
Answer answerOf(Read read) {
  try {
    return read();
  } catch (const std::bad_alloc&) {
    return platform::Failure(outOfMemoryError());
  }
}

// A handler for a transfer that reads the reply by the rule and reports what comes of it, a result
// or an error. `keptAlive` (may be null) lives until then. Throws as required() does.
platform::TransferHandler answering(ORVAAccountAPICompletionHandler completionHandler,
                                    AnswerRule rule, std::shared_ptr<const Object> keptAlive);

// Whether a handler is one that stays on the worker.
platform::CallbackKind kindOf(const ORVAAccountAPICompletionHandler& completionHandler);
void hand(const Answer& answer, const ORVAAccountAPICompletionHandler& completionHandler);

// Hands the answer's result or its error, exactly one of both, to the handler, where the host wants
// handlers to run. The handler is gone afterwards, for all its holders: what it holds is destroyed
// where it ran. Then calls `afterwards`, there too.
template <typename Afterwards>
void report(Answer answer, const SharedHandler& completionHandler, Afterwards afterwards) {
  platform::callBack(kindOf(*completionHandler), [answer = std::move(answer), completionHandler,
                                                  afterwards = std::move(afterwards)]() mutable {
    hand(answer, std::exchange(*completionHandler, nullptr));
    afterwards();
  });
}
void report(Answer answer, const SharedHandler& completionHandler);

// The body, empty when there is none. Ends with the reply.
std::string_view textOf(const platform::TransferOutcome& reply);

// The result block of the reply's body. Without one, every place in it is empty text.
// Its views end with the reply.
ResultBlock resultBlockIn(const platform::TransferOutcome& reply, ResultBlockPattern pattern);

// The value that the text holds; null when the text is not JSON. Throws std::bad_alloc.
Value parsedJSON(std::string_view text);

// A result record holding both.
std::shared_ptr<ORVAAccountAPIResult> makeResult(std::optional<std::string> description,
                                                 Value returnData);

}  // namespace orx::service
