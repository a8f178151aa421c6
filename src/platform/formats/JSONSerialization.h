#pragma once

#include <ORXAccount/platform/Error.h>
#include <ORXAccount/platform/Value.h>

#include <memory>
#include <string>
#include <string_view>

namespace orx::platform::JSONSerialization {

// Compact JSON text, "/" written as "\/". Throws std::invalid_argument, naming the place, for what
// JSON cannot hold: NaN, infinities, data, opaque objects, text that is not UTF-8, nesting beyond
// the limit.
std::string textWithJSONObject(const Value& value);

struct Reading {
  Value value;                   // null when `error` is set
  std::shared_ptr<Error> error;  // null when the text was JSON (NSCocoaErrorDomain, 3840)
};

// Reads one JSON value of any kind. Text that is empty, not UTF-8, begins with a byte order mark,
// is followed by anything but white space, or is nested beyond the limit, is an error.
Reading JSONObjectWithText(std::string_view text);

}  // namespace orx::platform::JSONSerialization
