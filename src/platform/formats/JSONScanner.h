// SPDX-License-Identifier: MIT
#pragma once

#include <ORXAccount/platform/Value.h>

#include <cstddef>
#include <string>
#include <string_view>

#include "platform/formats/JSONSerialization.h"

namespace orx::platform {

// The letters that follow a backslash in place of these characters.
inline constexpr std::string_view kJSONEscapeNames = "\"\\/bfnrt";
inline constexpr std::string_view kJSONEscapedCharacters = "\"\\/\b\f\n\r\t";

// Why a text is not JSON.
struct JSONSyntaxError {
  std::size_t position;  // how many bytes come before and with the one that is wrong
  std::string reason;
};

// Takes a JSON text apart into its tokens. The text must outlive the scanner and hold no NUL. What
// is not a token throws JSONSyntaxError.
class JSONScanner {
 public:
  JSONScanner(std::string_view text, LargeIntegers largeIntegers) noexcept
      : text_(text), largeIntegers_(largeIntegers) {}

  // The first character of the next token, which stays unread; NUL at the end of the text.
  char next() noexcept {
    while (isWhiteSpace(peek())) ++position_;
    return peek();
  }
  // Reads the character that next() gave.
  void advance() noexcept { ++position_; }

  // These two read the token that begins at the character that next() gave.
  // A string's decoded text; valid until the next string is read.
  std::string_view string();
  // A string, number, true, false or null, constructed at `place`, where null stands.
  void readScalar(Value& place);

  // Blames the character that comes next.
  [[noreturn]] void refuseNext(std::string_view reason) const;
  // Blames the character that was read last.
  [[noreturn]] void refuseRead(std::string_view reason) const;
  // Blames the last character of the token that comes next, or what is wrong inside it.
  [[noreturn]] void refuseToken(std::string_view reason);

 private:
  static bool isWhiteSpace(char character) noexcept {
    return character == ' ' || character == '\n' || character == '\r' || character == '\t';
  }
  char peek() const noexcept { return position_ < text_.size() ? text_[position_] : '\0'; }
  // What was read since `begin`.
  std::string_view readSince(std::size_t begin) const noexcept {
    return {text_.data() + begin, position_ - begin};
  }

  void word(std::string_view word);
  void number(Value& place);
  void digits();
  void plainCharacters();
  std::string_view decodedString(std::size_t begin);
  void escape();
  void escapedCharacter();
  char32_t codeUnit();

  std::string_view text_;
  LargeIntegers largeIntegers_;
  std::size_t position_ = 0;
  // The text of a string that holds escapes.
  std::string decoded_;
};

}  // namespace orx::platform
