#include "platform/base/Unicode.h"

#include <utf8proc.h>

#include <array>
#include <cstdint>
#include <cstring>

namespace orx::platform {

namespace {

using Byte = unsigned char;

std::size_t wantedLength(Byte lead) {
  if (lead < 0x80) return 1;
  if (lead >= 0xC2 && lead <= 0xDF) return 2;
  if (lead >= 0xE0 && lead <= 0xEF) return 3;
  if (lead >= 0xF0 && lead <= 0xF4) return 4;
  return 0;
}

// The bytes that may be the second of a character. The narrower ranges leave out overlong forms,
// surrogates and what lies beyond U+10FFFF.
bool isSecond(Byte lead, Byte byte) {
  const Byte low = lead == 0xE0 ? 0xA0 : lead == 0xF0 ? 0x90 : 0x80;
  const Byte high = lead == 0xED ? 0x9F : lead == 0xF4 ? 0x8F : 0xBF;
  return byte >= low && byte <= high;
}

// The bytes of the character that `text` begins with; 0 when these bytes are none.
std::size_t characterLength(std::string_view text) {
  const UTF8Prefix prefix = utf8PrefixOf(text);
  return prefix.isWhole() ? prefix.wanted : 0;
}

// The position of the next byte that may be no ASCII. Answers are ASCII nearly throughout.
std::size_t skipASCII(std::string_view text, std::size_t position) {
  std::array<std::uint64_t, 4> block{};
  for (; text.size() - position >= sizeof block; position += sizeof block) {
    std::memcpy(block.data(), text.data() + position, sizeof block);
    if (((block[0] | block[1] | block[2] | block[3]) & 0x8080808080808080U) != 0) break;
  }
  while (position < text.size() && static_cast<Byte>(text[position]) < 0x80) ++position;
  return position;
}

}  // namespace

UTF8Prefix utf8PrefixOf(std::string_view text) noexcept {
  const auto* const bytes = reinterpret_cast<const Byte*>(text.data());
  const std::size_t wanted = wantedLength(bytes[0]);
  if (wanted <= 1) return {wanted, wanted};
  std::size_t fitting = 1;
  while (fitting < wanted && fitting < text.size()) {
    const Byte byte = bytes[fitting];
    if (fitting == 1 ? !isSecond(bytes[0], byte) : (byte & 0xC0) != 0x80) break;
    ++fitting;
  }
  return {wanted, fitting};
}

bool isValidUTF8(std::string_view text) {
  for (std::size_t position = skipASCII(text, 0); position < text.size();
       position = skipASCII(text, position)) {
    const std::size_t length = characterLength(text.substr(position));
    if (length == 0) return false;
    position += length;
  }
  return true;
}

std::optional<char32_t> nextCharacter(std::string_view text, std::size_t& position) {
  const auto* bytes = reinterpret_cast<const Byte*>(text.data()) + position;
  const std::size_t length = characterLength(text.substr(position));
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

}  // namespace orx::platform
