// SPDX-License-Identifier: MIT
#pragma once

#include <ORXAccount/platform/Value.h>

#include <cstdint>
#include <string_view>

namespace orx::platform {

// The integer that a text begins with: white space, one sign, digits; reading stops at the first
// other character. 0 when there are no digits; a number beyond the width gives the nearest end of
// it.
std::int32_t intValue(std::string_view text);
std::int64_t longLongValue(std::string_view text);

// The 32-bit integer that a JSON value stands for: a number's low 32 bits (a double is cut to an
// integer first), text as intValue reads it, a boolean as 0 or 1. Anything else, null included, is
// 0.
std::int32_t intValue(const Value& value);

}  // namespace orx::platform
