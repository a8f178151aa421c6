// SPDX-License-Identifier: MIT
#include "platform/base/Integers.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <limits>

#include "platform/base/IntegerRange.h"

namespace orx::platform {

namespace {

template <typename Integer>
Integer leadingInteger(std::string_view text) {
  text.remove_prefix(std::min(text.find_first_not_of(" \t\n\v\f\r"), text.size()));
  // from_chars knows no plus; with the plus gone it must not take a minus for the sign.
  if (text.starts_with('+') && !text.starts_with("+-")) text.remove_prefix(1);
  Integer integer = 0;
  const auto end = text.data() + text.size();
  if (std::from_chars(text.data(), end, integer).ec == std::errc::result_out_of_range) {
    using Limits = std::numeric_limits<Integer>;
    return text.starts_with('-') ? Limits::min() : Limits::max();
  }
  return integer;
}

// Equal numbers give the same result, whichever of the kinds holds them. What no 64-bit integer can
// hold gives the nearest end, so that it is never mistaken for a small number.
std::int32_t cutToInt(double number) {
  if (std::isnan(number)) return 0;
  if (number >= kTwoTo64) return std::numeric_limits<std::int32_t>::max();
  if (number < -kTwoTo63) return std::numeric_limits<std::int32_t>::min();
  // Converted by way of 64 bits: what an int cannot hold may not be converted to it directly.
  if (number < 0) return static_cast<std::int32_t>(static_cast<std::int64_t>(number));
  return static_cast<std::int32_t>(static_cast<std::uint64_t>(number));
}

}  // namespace

std::int32_t intValue(std::string_view text) { return leadingInteger<std::int32_t>(text); }

std::int64_t longLongValue(std::string_view text) { return leadingInteger<std::int64_t>(text); }

std::int32_t intValue(const Value& value) {
  switch (value.kind()) {
    case Value::Kind::Boolean:
      return *value.boolean() ? 1 : 0;
    case Value::Kind::Integer:
      if (const auto integer = value.integer()) return static_cast<std::int32_t>(*integer);
      return static_cast<std::int32_t>(*value.unsignedInteger());
    case Value::Kind::Double:
      return cutToInt(*value.number());
    case Value::Kind::String:
      return intValue(std::string_view(*value.string()));
    default:
      return 0;
  }
}

}  // namespace orx::platform
