#pragma once

#include <ORXAccount/platform/Value.h>

#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

namespace orx::platform::JSONSerialization {

// Puts content where the null value stands, which has no end that would be missed.
template <typename Content>
void fillNull(Value& null, Content content) noexcept {
  std::construct_at(&null, std::move(content));
}

// Reads a JSON text token by token. What fails leaves a reason and the place; nothing may be read
// after that. The text must outlive the scanner and hold no NUL.
class JSONScanner {
 public:
  explicit JSONScanner(std::string_view text) noexcept
      : begin_(text.data()), cursor_(begin_), end_(begin_ + text.size()) {}

  // The first character that is no white space, which stays unread; NUL at the end of the text.
  char next() noexcept {
    while (cursor_ != end_ && isBlank(*cursor_)) ++cursor_;
    return peek();
  }
  // Reads the character that next() gave.
  void advance() noexcept { ++cursor_; }

  // Each of these reads the token that begins at the next character.
  // Decoded text; valid until the next string is read.
  std::optional<std::string_view> string();
  // A string, number, true, false or null, put where null stands.
  bool scalar(Value& value);

  // Always false. `refuseNext` blames the character that comes next, `refuseRead` the one that was
  // read last, `refuseToken` the end of the token that comes next.
  bool refuseNext(std::string_view reason) noexcept;
  bool refuseRead(std::string_view reason) noexcept;
  bool refuseToken(std::string_view reason);

  std::size_t bytesLeft() const noexcept { return static_cast<std::size_t>(end_ - cursor_); }

  // The bytes up to and with the one that was blamed, and why it was.
  std::size_t position() const noexcept { return position_; }
  std::string_view reason() const noexcept { return reason_; }

 private:
  static bool isBlank(char character) noexcept {
    if (static_cast<unsigned char>(character) > ' ') return false;
    return character == ' ' || character == '\n' || character == '\r' || character == '\t';
  }
  char peek() const noexcept { return cursor_ != end_ ? *cursor_ : '\0'; }

  bool word(std::string_view word) noexcept;
  bool number(Value& value);
  bool digits() noexcept;
  std::optional<std::string_view> decoded(const char* run);
  bool refuseInString() noexcept;
  bool escape();
  bool escapedCharacter();
  bool codeUnit(char32_t& unit) noexcept;

  const char* const begin_;
  const char* cursor_;
  const char* const end_;
  // The decoded text of a string that does not stand in the text as it is; keeps its room.
  std::string decoded_;
  std::size_t position_ = 0;
  std::string_view reason_;
};

}  // namespace orx::platform::JSONSerialization
