// SPDX-License-Identifier: MIT
#pragma once

#include <array>
#include <charconv>
#include <concepts>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>

// Small helpers for text that know no locale, and of letters those of ASCII alone.
namespace orx::platform {

constexpr bool isDigit(char character) { return character >= '0' && character <= '9'; }

constexpr bool isLetter(char character) {
  return (character >= 'a' && character <= 'z') || (character >= 'A' && character <= 'Z');
}

constexpr char lowerCase(char character) {
  return character >= 'A' && character <= 'Z' ? static_cast<char>(character - 'A' + 'a')
                                              : character;
}

// The same bytes under the type that a list of bytes has. As characters they would be copied into
// one of them each by itself.
inline std::span<const std::uint8_t> bytesOf(std::string_view text) {
  return {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()};
}

// An integer's decimal digits.
template <std::integral Integer>
std::string numberText(Integer number) {
  std::array<char, 24> digits{};
  const auto end = std::to_chars(digits.data(), digits.data() + digits.size(), number);
  return {digits.data(), end.ptr};
}

// A double's decimal digits, as few as read back as the same number: from 1e-5 to 1e21 without an
// exponent, as people and services that count without one expect it.
std::string numberText(double number);

}  // namespace orx::platform
