// SPDX-License-Identifier: MIT
#pragma once

#include <ORXAccount/platform/Value.h>

#include <string>
#include <string_view>

#include "platform/base/Result.h"

namespace orx::platform {

// Compact JSON text, "/" written as "\/". Throws std::invalid_argument, naming the place, for what
// JSON cannot hold: NaN, infinities, data, opaque objects, text that is not UTF-8, nesting beyond
// the limit.
std::string textWithJSONObject(const Value& value);

// What becomes of an integer that 64 bits do not hold.
enum class LargeIntegers { NearestDouble, Text };

// Reads one JSON value of any kind, in UTF-8 or, behind a byte order mark, in UTF-16 or UTF-32.
// Text that is empty, not UTF-8, is followed by anything but white space, holds a number beyond
// every double, or goes beyond a limit in depth or number of values, is an error
// (NSCocoaErrorDomain, 3840). Memory that runs out says nothing of the text: std::bad_alloc.
Result<Value> JSONObjectWithText(std::string_view text,
                                 LargeIntegers largeIntegers = LargeIntegers::NearestDouble);

}  // namespace orx::platform
