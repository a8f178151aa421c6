#include "platform/Unicode.h"

#include <utf8proc.h>

#include <array>
#include <cstdint>
#include <cstring>

namespace orx {

namespace {

using Byte = unsigned char;

// The bytes of the character that `text` begins with; 0 when these bytes are none.
std::size_t characterLength(const Byte* text, std::size_t size) {
  const auto continues = [&](std::size_t position, Byte low = 0x80, Byte high = 0xBF) {
    return position < size && text[position] >= low && text[position] <= high;
  };
  const Byte lead = text[0];
  if (lead < 0x80) return 1;
  if (lead >= 0xC2 && lead <= 0xDF) return continues(1) ? 2 : 0;
  if (lead >= 0xE0 && lead <= 0xEF) {
    // The narrower ranges leave out overlong forms and surrogates.
    const bool second = continues(1, lead == 0xE0 ? 0xA0 : 0x80, lead == 0xED ? 0x9F : 0xBF);
    return second && continues(2) ? 3 : 0;
  }
  if (lead >= 0xF0 && lead <= 0xF4) {
    const bool second = continues(1, lead == 0xF0 ? 0x90 : 0x80, lead == 0xF4 ? 0x8F : 0xBF);
    return second && continues(2) && continues(3) ? 4 : 0;
  }
  return 0;
}

}  // namespace

bool isValidUTF8(std::string_view text) {
  const auto* bytes = reinterpret_cast<const Byte*>(text.data());
  const Byte* const end = bytes + text.size();
  while (bytes != end) {
    // Answers are ASCII nearly throughout.
    std::uint64_t block = 0;
    while (end - bytes >= static_cast<std::ptrdiff_t>(sizeof block)) {
      std::memcpy(&block, bytes, sizeof block);
      if ((block & 0x8080808080808080U) != 0) break;
      bytes += sizeof block;
    }
    if (bytes == end) break;
    const std::size_t length = characterLength(bytes, static_cast<std::size_t>(end - bytes));
    if (length == 0) return false;
    bytes += length;
  }
  return true;
}

std::optional<char32_t> nextCharacter(std::string_view text, std::size_t& position) {
  const auto* bytes = reinterpret_cast<const Byte*>(text.data()) + position;
  const std::size_t length = characterLength(bytes, text.size() - position);
  if (length == 0) return std::nullopt;
  // Of the first byte, what its length marker leaves.
  char32_t character = length == 1 ? bytes[0] : bytes[0] & (0x7FU >> length);
  for (std::size_t i = 1; i < length; ++i) character = character << 6U | (bytes[i] & 0x3FU);
  position += length;
  return character;
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

}  // namespace orx
