// SPDX-License-Identifier: MIT
#include "platform/formats/JSONScanner.h"

#include <algorithm>
#include <bit>
#include <charconv>
#include <cstdint>
#include <cstring>
#include <memory>
#include <optional>

#include "platform/base/Text.h"
#include "platform/base/Unicode.h"

namespace orx::platform {

namespace {

// Whether a byte stands for itself inside a string, whatever its neighbours are.
bool isPlain(char character) {
  const auto byte = static_cast<unsigned char>(character);
  return byte >= ' ' && byte < 0x80 && byte != '"' && byte != '\\';
}

// How many of these eight bytes are plain up to the first that is not.
std::size_t plainOf(std::uint64_t bytes) {
  if constexpr (std::endian::native == std::endian::big) bytes = __builtin_bswap64(bytes);
  constexpr std::uint64_t kOnes = 0x0101010101010101U;
  const std::uint64_t quotes = bytes ^ (kOnes * '"');
  const std::uint64_t backslashes = bytes ^ (kOnes * '\\');
  // A subtraction that borrows sets the highest bit of its byte. It may do so wrongly in the bytes
  // that come after, of which nothing is asked.
  const std::uint64_t found = (bytes - kOnes * ' ') | (quotes - kOnes) | (backslashes - kOnes);
  return static_cast<std::size_t>(std::countr_zero((found | bytes) & kOnes * 0x80)) / 8;
}

std::size_t endOfPlain(std::string_view text, std::size_t position) {
  // Most of an answer is the inside of strings: eight bytes at a time take a third of the time.
  constexpr std::size_t kBlock = sizeof(std::uint64_t);
  while (text.size() - position >= kBlock) {
    std::uint64_t bytes = 0;
    std::memcpy(&bytes, text.data() + position, kBlock);
    const std::size_t plain = plainOf(bytes);
    position += plain;
    if (plain < kBlock) return position;
  }
  while (position < text.size() && isPlain(text[position])) ++position;
  return position;
}

template <typename Number>
bool read(std::string_view token, Number& number) {
  return std::from_chars(token.data(), token.data() + token.size(), number).ec == std::errc();
}

// std::from_chars says of a number that it is out of range, but not at which end: whether it is too
// small for any double is whether its first significant digit stands behind the point once the
// exponent has moved that.
bool isTooSmall(std::string_view token) {
  const std::size_t exponentAt = std::min(token.find_first_of("eE"), token.size());
  const std::string_view digits = token.substr(0, exponentAt);
  const std::size_t point = std::min(digits.find('.'), digits.size());
  const std::size_t first = std::min(digits.find_first_of("123456789"), digits.size());
  if (exponentAt == token.size()) return first > point;

  std::string_view exponentText = token.substr(exponentAt + 1);
  const bool isNegative = exponentText.front() == '-';
  if (exponentText.front() == '+') exponentText.remove_prefix(1);
  std::int64_t exponent = 0;
  if (!read(exponentText, exponent)) return isNegative;
  return exponent < static_cast<std::int64_t>(first) - static_cast<std::int64_t>(point);
}

}  // namespace

void JSONScanner::refuseNext(std::string_view reason) const {
  if (position_ == text_.size()) throw JSONSyntaxError{position_, "it ends too early"};
  throw JSONSyntaxError{position_ + 1, std::string(reason)};
}

void JSONScanner::refuseRead(std::string_view reason) const {
  throw JSONSyntaxError{position_, std::string(reason)};
}

void JSONScanner::refuseToken(std::string_view reason) {
  if (std::string_view("[]{}:,").find(next()) != std::string_view::npos) refuseNext(reason);
  Value unused;
  readScalar(unused);
  refuseRead(reason);
}

void JSONScanner::readScalar(Value& place) {
  switch (peek()) {
    case '"':
      // The text first, whose memory may be missing: `place` must never be left without a value.
      std::construct_at(&place, std::string(string()));
      break;
    case 't':
      std::construct_at(&place, true);
      return word("true");
    case 'f':
      std::construct_at(&place, false);
      return word("false");
    case 'n':
      return word("null");
    default:
      number(place);
  }
}

void JSONScanner::word(std::string_view word) {
  for (const char expected : word) {
    if (peek() != expected) refuseNext("a word is none of true, false and null");
    advance();
  }
}

void JSONScanner::digits() {
  if (!isDigit(peek())) refuseNext("a digit is missing");
  while (isDigit(peek())) advance();
}

// An integer where 64 bits hold it, else what largeIntegers_ says or the nearest double.
void JSONScanner::number(Value& place) {
  const std::size_t begin = position_;
  if (peek() == '-') {
    advance();
  } else if (!isDigit(peek())) {
    refuseNext("no value begins like this");
  }
  // No digit may follow a leading zero; one that does is found to be a token too many.
  if (peek() == '0') {
    advance();
  } else {
    digits();
  }
  const std::size_t integerEnd = position_;
  if (peek() == '.') {
    advance();
    digits();
  }
  if (peek() == 'e' || peek() == 'E') {
    advance();
    if (peek() == '+' || peek() == '-') advance();
    digits();
  }
  const bool isInteger = position_ == integerEnd;
  const std::string_view token = readSince(begin);
  std::int64_t integer = 0;
  std::uint64_t unsignedInteger = 0;
  double real = 0;
  if (isInteger && read(token, integer)) {
    std::construct_at(&place, integer);
  } else if (isInteger && read(token, unsignedInteger)) {
    std::construct_at(&place, unsignedInteger);
  } else if (read(token, real)) {
    const bool isText = isInteger && largeIntegers_ == LargeIntegers::Text;
    std::construct_at(&place, isText ? Value(token) : Value(real));
  } else if (isTooSmall(token)) {
    std::construct_at(&place, token.front() == '-' ? -0.0 : 0.0);
  } else {
    refuseRead("a number is too large");
  }
}

std::string_view JSONScanner::string() {
  advance();
  const std::size_t begin = position_;
  plainCharacters();
  if (peek() != '"') return decodedString(begin);
  const std::string_view text = readSince(begin);
  advance();
  return text;
}

// Reads the characters that stand for themselves: plain bytes and UTF-8.
void JSONScanner::plainCharacters() {
  do {
    position_ = endOfPlain(text_, position_);
  } while (static_cast<unsigned char>(peek()) >= 0x80 && nextCharacter(text_, position_));
}

// The text of a string that began at `begin` and holds an escape after what was read of it so far.
std::string_view JSONScanner::decodedString(std::size_t begin) {
  decoded_ = readSince(begin);
  while (peek() != '"') {
    escape();
    begin = position_;
    plainCharacters();
    decoded_ += readSince(begin);
  }
  advance();
  return decoded_;
}

void JSONScanner::escape() {
  if (static_cast<unsigned char>(peek()) < ' ') refuseNext("a string holds a control character");
  if (peek() != '\\') {
    position_ += truncatedCharacterSize(text_.substr(position_));
    refuseNext("a string is not UTF-8");
  }
  advance();
  if (peek() == 'u') {
    advance();
    return escapedCharacter();
  }
  const auto place = kJSONEscapeNames.find(peek());
  if (place == std::string_view::npos) refuseNext("an escape is unknown");
  decoded_ += kJSONEscapedCharacters[place];
  advance();
}

char32_t JSONScanner::codeUnit() {
  const std::string_view digits = text_.substr(position_, 4);
  std::uint16_t unit = 0;
  const auto end = std::from_chars(digits.data(), digits.data() + digits.size(), unit, 16).ptr;
  position_ += static_cast<std::size_t>(end - digits.data());
  // Blames the character that stands where the digit should.
  if (end != digits.data() + 4) refuseNext("an escape lacks a hexadecimal digit");
  return unit;
}

// One or, for a surrogate pair, two escaped code units, the first of which lacks its "\u".
void JSONScanner::escapedCharacter() {
  constexpr std::string_view kHalf = "an escape is half a surrogate pair";
  const char32_t unit = codeUnit();
  if (isLowSurrogate(unit)) refuseRead(kHalf);
  if (!isHighSurrogate(unit)) return appendCharacter(unit, decoded_);
  for (const char expected : {'\\', 'u'}) {
    if (peek() != expected) refuseNext(kHalf);
    advance();
  }
  const char32_t second = codeUnit();
  if (!isLowSurrogate(second)) refuseRead(kHalf);
  appendCharacter(characterOfPair(unit, second), decoded_);
}

}  // namespace orx::platform
