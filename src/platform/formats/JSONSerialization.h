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

// Reads one JSON value of any kind. Text that is empty, not UTF-8, begins with a byte order mark,
// is followed by anything but white space, or is nested beyond the limit, is an error
// (NSCocoaErrorDomain, 3840).
Result<Value> JSONObjectWithText(std::string_view text);

}  // namespace orx::platform
