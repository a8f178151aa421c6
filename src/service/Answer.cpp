#include "service/Answer.h"

#include <utility>

#include "platform/formats/JSONSerialization.h"

namespace orx::service {

using namespace platform;

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
