#include "platform/base/UTF16.h"

#include <cstddef>

#include "platform/base/Unicode.h"

namespace orx::platform {

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
