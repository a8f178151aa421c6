// SPDX-License-Identifier: MIT
#include "platform/base/Text.h"

#include <cmath>

namespace orx::platform {

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
