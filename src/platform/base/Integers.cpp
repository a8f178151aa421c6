#include "platform/base/Integers.h"

#include <cmath>
#include <limits>

#include "platform/base/Text.h"

namespace orx::platform {

namespace {

bool isWhiteSpace(char character) {
  return character == ' ' || (character >= '\t' && character <= '\r');
}

template <typename Integer>
Integer leadingInteger(std::string_view text) {
  std::size_t position = 0;
  while (position < text.size() && isWhiteSpace(text[position])) ++position;
  bool negative = false;
  if (position < text.size() && (text[position] == '-' || text[position] == '+')) {
    negative = text[position] == '-';
    ++position;
  }
  // Gathered below zero, where the range is wider by one.
  constexpr Integer lowest = std::numeric_limits<Integer>::min();
  Integer gathered = 0;
  for (; position < text.size() && isDigit(text[position]); ++position) {
    const auto digit = static_cast<Integer>(text[position] - '0');
    if (gathered < (lowest + digit) / 10) {
      return negative ? lowest : std::numeric_limits<Integer>::max();
    }
    gathered = static_cast<Integer>(gathered * 10 - digit);
  }
  if (negative) return gathered;
  return gathered == lowest ? std::numeric_limits<Integer>::max() : static_cast<Integer>(-gathered);
}

std::int32_t lowBits(std::uint64_t integer) {
  return static_cast<std::int32_t>(static_cast<std::uint32_t>(integer));
}

// Equal numbers give the same result, whichever of the kinds holds them. What no 64-bit integer can
// hold gives the nearest end, so that it is never mistaken for a small number.
std::int32_t cutToInt(double number) {
  constexpr double twoTo63 = 9223372036854775808.0;
  constexpr double twoTo64 = 18446744073709551616.0;
  if (std::isnan(number)) return 0;
  if (number >= twoTo64) return std::numeric_limits<std::int32_t>::max();
  if (number < -twoTo63) return std::numeric_limits<std::int32_t>::min();
  if (number < 0) return lowBits(static_cast<std::uint64_t>(static_cast<std::int64_t>(number)));
  return lowBits(static_cast<std::uint64_t>(number));
}

}  // namespace

std::int32_t intValue(std::string_view text) { return leadingInteger<std::int32_t>(text); }

std::int64_t longLongValue(std::string_view text) { return leadingInteger<std::int64_t>(text); }

std::int32_t intValue(const Value& value) {
  switch (value.kind()) {
    case Value::Kind::Boolean:
      return *value.boolean() ? 1 : 0;
    case Value::Kind::Integer:
      if (const auto integer = value.integer())
        return lowBits(static_cast<std::uint64_t>(*integer));
      return lowBits(*value.unsignedInteger());
    case Value::Kind::Double:
      return cutToInt(*value.number());
    case Value::Kind::String:
      return intValue(std::string_view(*value.string()));
    default:
      return 0;
  }
}

}  // namespace orx::platform
