// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace orx::platform {

bool isASCII(std::string_view text);
bool isValidUTF8(std::string_view text);

// The character at `position` of a text that goes on there; moves the position behind it. Absent,
// with the position where it was, when what stands there is not UTF-8.
std::optional<char32_t> nextCharacter(std::string_view text, std::size_t& position);

// Of a text that does not begin with a character: how many of its bytes could still begin one. The
// byte after them is the one that is wrong.
std::size_t truncatedCharacterSize(std::string_view text);

// Appends a character, no surrogate, as UTF-8.
void appendCharacter(char32_t character, std::string& text);

// The text with its first UTF-16 code unit in lower case, independent of any locale. A text that
// begins with a character of two units, the empty text and text that is not UTF-8 stay as they are.
std::string lowercasingFirstUTF16Unit(std::string_view text);

constexpr bool isHighSurrogate(char32_t unit) { return unit >= 0xD800 && unit < 0xDC00; }
constexpr bool isLowSurrogate(char32_t unit) { return unit >= 0xDC00 && unit < 0xE000; }

// The character that a surrogate pair stands for.
constexpr char32_t characterOfPair(char32_t high, char32_t low) {
  return 0x10000 + ((high - 0xD800) << 10) + (low - 0xDC00);
}

// The text's UTF-16 code units; absent when it is not UTF-8.
std::optional<std::vector<std::uint16_t>> utf16FromUTF8(std::string_view text);

// UTF-8 of big-endian UTF-16; absent for half a unit at the end and for half a surrogate pair.
std::optional<std::string> utf8FromUTF16BigEndian(std::span<const std::uint8_t> bytes);

}  // namespace orx::platform
