// SPDX-License-Identifier: MIT
#pragma once

#include <ORXAccount/platform/Value.h>

#include <optional>
#include <string>
#include <string_view>

namespace orx::testing {

// What a general JSON library makes of a text.
struct JSONVerdict {
  std::optional<Value> value;  // absent when the text is refused
  // For a refused text: "line L, column C" of the byte at which it was found not to be JSON.
  std::string place;
};

// The text must keep the library's limits, hold no NUL and not begin as a byte order mark does: the
// oracle takes a NUL for the end, skips the mark and reads what may become one before it refuses.
JSONVerdict readJSONByOracle(std::string_view text);

// One text for each value, which tells apart what compares as equal: kinds of numbers, the sign of
// zero, the order of keys.
std::string exactDescription(const Value& value);

}  // namespace orx::testing
