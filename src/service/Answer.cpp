#include "service/Answer.h"

#include <utility>

#include "platform/formats/JSONSerialization.h"

namespace orx {

using namespace platform;

ResultBlock resultBlockIn(const std::optional<Data>& answer, ResultBlockPattern pattern) {
  const std::string_view text = answer ? answer->text() : std::string_view();
  return matchResultBlock(text, pattern).value_or(ResultBlock{});
}

Value parsedJSON(std::string_view text) { return JSONObjectWithText(text).value_or(Value()); }

std::shared_ptr<ORVAAccountAPIResult> makeResult(std::optional<std::string> description,
                                                 Value returnData) {
  auto result = ORVAAccountAPIResult::init();
  result->setResultDescription(std::move(description));
  result->setReturnData(std::move(returnData));
  return result;
}

}  // namespace orx
