// SPDX-License-Identifier: MIT
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "service/ResultBlock.h"

namespace orx::testing {

using service::ResultBlock;
using service::ResultBlockPattern;

// What the pattern texts themselves give, as a general regular expression engine reads them:
// case-insensitive over Unicode, "." stopping at every line terminator. It backtracks, so hostile
// texts take it long; throws std::runtime_error when it gives up.
std::optional<ResultBlock> matchResultBlockByPattern(std::string_view answer,
                                                     ResultBlockPattern pattern);

// For messages: the captures, or "no match".
std::string descriptionOf(const std::optional<ResultBlock>& block);

}  // namespace orx::testing
