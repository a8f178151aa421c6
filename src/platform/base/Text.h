#pragma once

#include <array>
#include <charconv>
#include <string>
#include <string_view>

// Small helpers for text that know no locale.
namespace orx::platform {

constexpr bool isDigit(char character) { return character >= '0' && character <= '9'; }

// ASCII letters alone differ without making a difference.
bool equalsIgnoringCase(std::string_view left, std::string_view right);

// Without blanks and line ends at both ends.
std::string_view trimmed(std::string_view text);

// A number's decimal digits; of a double, the fewest that read back as the same number.
template <typename Number>
std::string numberText(Number number) {
  std::array<char, 32> digits{};
  const auto end = std::to_chars(digits.data(), digits.data() + digits.size(), number);
  return {digits.data(), end.ptr};
}

}  // namespace orx::platform
