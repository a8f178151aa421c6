// SPDX-License-Identifier: MIT
#include "platform/base/Unicode.h"

#include <utf8proc.h>

#include <algorithm>
#include <array>
#include <cstring>

namespace orx::platform {

namespace {

// The position of the next byte that may not be ASCII. Answers are ASCII nearly throughout, and 32
// bytes at a time are looked at ten times as fast as a character at a time.
std::size_t skipASCII(std::string_view text, std::size_t position) {
  std::array<std::uint64_t, 4> block{};
  for (; text.size() - position >= sizeof block; position += sizeof block) {
    std::memcpy(block.data(), text.data() + position, sizeof block);
    if (((block[0] | block[1] | block[2] | block[3]) & 0x8080808080808080U) != 0) break;
  }
  while (position < text.size() && static_cast<unsigned char>(text[position]) < 0x80) ++position;
  return position;
}

}  // namespace

bool isASCII(std::string_view text) { return skipASCII(text, 0) == text.size(); }

bool isValidUTF8(std::string_view text) {
  std::size_t position = skipASCII(text, 0);
  while (position < text.size()) {
    if (!nextCharacter(text, position)) return false;
    position = skipASCII(text, position);
  }
  return true;
}

std::optional<char32_t> nextCharacter(std::string_view text, std::size_t& position) {
  utf8proc_int32_t character = 0;
  const auto size =
      utf8proc_iterate(reinterpret_cast<const utf8proc_uint8_t*>(text.data()) + position,
                       static_cast<utf8proc_ssize_t>(text.size() - position), &character);
  if (size <= 0) return std::nullopt;
  position += static_cast<std::size_t>(size);
  return static_cast<char32_t>(character);
}

std::size_t truncatedCharacterSize(std::string_view text) {
  // The begin of any character becomes a whole one with one of these.
  constexpr std::array<std::string_view, 5> ends{"\x80", "\x80\x80", "\x80\x80\x80", "\xA0\x80",
                                                 "\xA0\x80\x80"};
  for (std::size_t size = std::min<std::size_t>(text.size(), 3); size > 0; --size) {
    for (const std::string_view end : ends) {
      const std::string whole = std::string(text.substr(0, size)).append(end);
      std::size_t position = 0;
      if (nextCharacter(whole, position) && position == whole.size()) return size;
    }
  }
  return 0;
}

void appendCharacter(char32_t character, std::string& text) {
  std::array<utf8proc_uint8_t, 4> bytes{};
  const auto size = utf8proc_encode_char(static_cast<utf8proc_int32_t>(character), bytes.data());
  text.append(bytes.begin(), bytes.begin() + size);
}

std::string lowercasingFirstUTF16Unit(std::string_view text) {
  if (text.empty() || !isValidUTF8(text)) return std::string(text);
  std::size_t length = 0;
  const char32_t first = nextCharacter(text, length).value_or(0);
  if (first > 0xFFFF) return std::string(text);
  const std::string_view rest = text.substr(length);
  // The one character whose lower case is two: i and a combining dot above.
  if (first == 0x0130) return "i\u0307" + std::string(rest);
  std::string lower;
  appendCharacter(static_cast<char32_t>(utf8proc_tolower(static_cast<utf8proc_int32_t>(first))),
                  lower);
  return lower.append(rest);
}

std::optional<std::vector<std::uint16_t>> utf16FromUTF8(std::string_view text) {
  std::vector<std::uint16_t> units;
  units.reserve(text.size());
  for (std::size_t position = 0; position < text.size();) {
    const auto character = nextCharacter(text, position);
    if (!character) return std::nullopt;
    if (*character < 0x10000) {
      units.push_back(static_cast<std::uint16_t>(*character));
    } else {
      const char32_t rest = *character - 0x10000;
      units.push_back(static_cast<std::uint16_t>(0xD800 + (rest >> 10)));
      units.push_back(static_cast<std::uint16_t>(0xDC00 + (rest & 0x3FF)));
    }
  }
  return units;
}

std::optional<std::string> utf8FromUTF16BigEndian(std::span<const std::uint8_t> bytes) {
  if (bytes.size() % 2 != 0) return std::nullopt;
  const auto unitAt = [bytes](std::size_t position) -> char32_t {
    return static_cast<char32_t>(bytes[position] << 8 | bytes[position + 1]);
  };
  std::string text;
  text.reserve(bytes.size() / 2);
  for (std::size_t position = 0; position < bytes.size(); position += 2) {
    char32_t character = unitAt(position);
    if (isLowSurrogate(character)) return std::nullopt;
    if (isHighSurrogate(character)) {
      position += 2;
      if (position == bytes.size() || !isLowSurrogate(unitAt(position))) return std::nullopt;
      character = characterOfPair(character, unitAt(position));
    }
    appendCharacter(character, text);
  }
  return text;
}

}  // namespace orx::platform
