// SPDX-License-Identifier: MIT
#include "platform/base/Text.h"

#include <algorithm>
#include <cmath>

namespace orx::platform {

bool equalsIgnoringCase(std::string_view left, std::string_view right) {
  const auto lowered = [](char letter) {
    return letter >= 'A' && letter <= 'Z' ? static_cast<char>(letter - 'A' + 'a') : letter;
  };
  return std::ranges::equal(left, right, {}, lowered, lowered);
}

std::string_view trimmed(std::string_view text) {
  constexpr std::string_view blanks = " \t\r\n";
  const auto first = text.find_first_not_of(blanks);
  if (first == std::string_view::npos) return {};
  return text.substr(first, text.find_last_not_of(blanks) - first + 1);
}

std::string numberText(double number) {
  const double size = std::abs(number);
  const bool isPlain = size >= 1e-5 && size <= 1e21;
  // Twice the longest plain one: a sign, 22 digits, or five zeros and 17 digits behind the point.
  std::array<char, 48> digits{};
  const auto [end, error] =
      isPlain ? std::to_chars(digits.begin(), digits.end(), number, std::chars_format::fixed)
              : std::to_chars(digits.begin(), digits.end(), number);
  return {digits.data(), end};
}

}  // namespace orx::platform
