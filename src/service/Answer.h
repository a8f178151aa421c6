#pragma once

#include <ORXAccount/ORVAAccountAPI.h>
#include <ORXAccount/platform/Data.h>
#include <ORXAccount/platform/Value.h>

#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "service/ResultBlock.h"

namespace orx {

// The status that an operation wants when it looks at the status at all.
inline constexpr long kStatusOK = 200;

// What stands in the answer's block: views into the answer, empty text in every place when there is
// none.
ResultBlock resultBlockIn(const std::optional<Data>& answer, ResultBlockPattern pattern);

// The value that the text holds; null when the text is not JSON.
Value parsedJSON(std::string_view text);

// A result record holding both.
std::shared_ptr<ORVAAccountAPIResult> makeResult(std::optional<std::string> description,
                                                 Value returnData);

}  // namespace orx
