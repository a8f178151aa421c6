#pragma once

#include <ORXAccount/ORVAAccountAPIResult.h>
#include <ORXAccount/platform/Value.h>

#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "platform/http/Transport.h"
#include "service/ResultBlock.h"

namespace orx::service {

// The status that an operation wants when it looks at the status at all.
inline constexpr long kStatusOK = 200;

// The body, empty when there is none. Ends with the reply.
std::string_view textOf(const platform::TransferOutcome& reply);

// The result block of the reply's body. Without one, every place in it is empty text.
// Its views end with the reply.
ResultBlock resultBlockIn(const platform::TransferOutcome& reply, ResultBlockPattern pattern);

// The value that the text holds; null when the text is not JSON.
Value parsedJSON(std::string_view text);

// A result record holding both.
std::shared_ptr<ORVAAccountAPIResult> makeResult(std::optional<std::string> description,
                                                 Value returnData);

}  // namespace orx::service
