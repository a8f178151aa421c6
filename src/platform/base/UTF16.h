#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace orx::platform {

constexpr bool isHighSurrogate(char32_t unit) { return unit >= 0xD800 && unit < 0xDC00; }
constexpr bool isLowSurrogate(char32_t unit) { return unit >= 0xDC00 && unit < 0xE000; }

// The character that a surrogate pair stands for.
constexpr char32_t characterOfPair(char32_t high, char32_t low) {
  return 0x10000 + ((high - 0xD800) << 10) + (low - 0xDC00);
}

// The text's UTF-16 units; absent when it is not UTF-8.
std::optional<std::vector<std::uint16_t>> utf16FromUTF8(std::string_view text);

// UTF-8 of big-endian UTF-16; absent for half a unit at the end and for half a surrogate pair.
std::optional<std::string> utf8FromUTF16BigEndian(std::span<const std::uint8_t> bytes);

}  // namespace orx::platform
