#include "platform/UTF16.h"

#include <cstddef>

namespace orx {

namespace {

struct Lead {
  std::size_t length;  // 0: no character begins with this byte
  char32_t bits;
  char32_t smallest;  // what a shorter form could not hold
};

Lead leadOf(unsigned char byte) {
  if (byte < 0x80) return {1, byte, 0};
  if ((byte & 0xE0) == 0xC0) return {2, byte & 0x1FU, 0x80};
  if ((byte & 0xF0) == 0xE0) return {3, byte & 0x0FU, 0x800};
  if ((byte & 0xF8) == 0xF0) return {4, byte & 0x07U, 0x10000};
  return {0, 0, 0};
}

// The character at `position`, which moves behind it.
std::optional<char32_t> nextCharacter(std::string_view text, std::size_t& position) {
  const Lead lead = leadOf(static_cast<unsigned char>(text[position]));
  if (lead.length == 0 || lead.length > text.size() - position) return std::nullopt;
  char32_t character = lead.bits;
  for (std::size_t i = 1; i < lead.length; ++i) {
    const auto byte = static_cast<unsigned char>(text[position + i]);
    if ((byte & 0xC0) != 0x80) return std::nullopt;
    character = character << 6 | (byte & 0x3FU);
  }
  const bool surrogate = isHighSurrogate(character) || isLowSurrogate(character);
  if (character < lead.smallest || character > 0x10FFFF || surrogate) return std::nullopt;
  position += lead.length;
  return character;
}

}  // namespace

void appendUTF8(char32_t character, std::string& text) {
  const auto append = [&text](char32_t byte) { text += static_cast<char>(byte); };
  if (character < 0x80) {
    append(character);
  } else if (character < 0x800) {
    append(0xC0 | character >> 6);
    append(0x80 | (character & 0x3F));
  } else if (character < 0x10000) {
    append(0xE0 | character >> 12);
    append(0x80 | (character >> 6 & 0x3F));
    append(0x80 | (character & 0x3F));
  } else {
    append(0xF0 | character >> 18);
    append(0x80 | (character >> 12 & 0x3F));
    append(0x80 | (character >> 6 & 0x3F));
    append(0x80 | (character & 0x3F));
  }
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
    appendUTF8(character, text);
  }
  return text;
}

}  // namespace orx
