#include "platform/formats/JSONNumber.h"

#include <algorithm>
#include <charconv>
#include <cstdint>

namespace orx::platform::JSONSerialization {

namespace {

template <typename Number>
std::errc read(std::string_view token, Number& number) {
  return std::from_chars(token.data(), token.data() + token.size(), number).ec;
}

// Whether a number that no double stands for is too small for one rather than too large: whether
// its first digit that counts stands behind the point once the exponent has moved that.
bool isTooSmall(std::string_view token) {
  const std::size_t exponentAt = std::min(token.find_first_of("eE"), token.size());
  const std::string_view digits = token.substr(0, exponentAt);
  const std::size_t point = std::min(digits.find('.'), digits.size());
  const std::size_t first = std::min(digits.find_first_of("123456789"), digits.size());
  if (exponentAt == token.size()) return first > point;

  std::string_view exponentText = token.substr(exponentAt + 1);
  const bool isNegative = exponentText.front() == '-';
  if (exponentText.front() == '+') exponentText.remove_prefix(1);
  std::int64_t exponent = 0;
  if (read(exponentText, exponent) != std::errc()) return isNegative;
  return exponent < static_cast<std::int64_t>(first) - static_cast<std::int64_t>(point);
}

}  // namespace

bool valueOfNumber(std::string_view token, bool isInteger, Value& value) {
  if (isInteger) {
    std::int64_t integer = 0;
    std::uint64_t unsignedInteger = 0;
    if (read(token, integer) == std::errc()) {
      value = integer;
      return true;
    }
    if (read(token, unsignedInteger) == std::errc()) {
      value = unsignedInteger;
      return true;
    }
  }
  double number = 0;
  if (read(token, number) != std::errc()) {
    if (!isTooSmall(token)) return false;
    number = token.front() == '-' ? -0.0 : 0.0;
  }
  value = number;
  return true;
}

}  // namespace orx::platform::JSONSerialization
