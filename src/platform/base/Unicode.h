#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace orx::platform {

// How far the bytes that a text begins with go along with being one character.
struct UTF8Prefix {
  std::size_t wanted;   // the bytes that this character would have; 0 when none begins like this
  std::size_t fitting;  // how many of them are right

  bool isWhole() const { return wanted != 0 && fitting == wanted; }
};

// The text must not be empty.
UTF8Prefix utf8PrefixOf(std::string_view text) noexcept;

bool isValidUTF8(std::string_view text);

// The character at `position` of a text that goes on there; moves the position behind it. Absent,
// with the position where it was, when what stands there is not UTF-8.
std::optional<char32_t> nextCharacter(std::string_view text, std::size_t& position);

// Appends a character, no surrogate, as UTF-8.
void appendCharacter(char32_t character, std::string& text);

// The text with its first UTF-16 code unit in lower case, independent of any locale. A text that
// begins with a character of two units, the empty text and text that is not UTF-8 stay as they are.
std::string lowercasingFirstUTF16Unit(std::string_view text);

}  // namespace orx::platform
