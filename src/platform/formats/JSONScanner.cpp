#include "platform/formats/JSONScanner.h"

#include <bit>
#include <cstdint>
#include <cstring>

#include "platform/base/UTF16.h"
#include "platform/base/Unicode.h"
#include "platform/formats/JSONNumber.h"

namespace orx::platform::JSONSerialization {

namespace {

// Whether a byte stands for itself inside a string, whatever its neighbours are.
bool isPlain(char character) {
  const auto byte = static_cast<unsigned char>(character);
  return byte >= ' ' && byte < 0x80 && byte != '"' && byte != '\\';
}

// How many of these eight bytes are plain up to the first that is not.
int plainOf(std::uint64_t bytes) {
  if constexpr (std::endian::native == std::endian::big) bytes = __builtin_bswap64(bytes);
  constexpr std::uint64_t kOnes = 0x0101010101010101U;
  const std::uint64_t quotes = bytes ^ (kOnes * '"');
  const std::uint64_t backslashes = bytes ^ (kOnes * '\\');
  // A subtraction that borrows sets the highest bit of its byte. It may do so wrongly in the bytes
  // that come after, of which nothing is asked.
  const std::uint64_t found = (bytes - kOnes * ' ') | (quotes - kOnes) | (backslashes - kOnes);
  return std::countr_zero((found | bytes) & kOnes * 0x80) / 8;
}

const char* endOfPlain(const char* cursor, const char* end) {
  constexpr int kBlock = 8;
  while (end - cursor >= kBlock) {
    std::uint64_t bytes = 0;
    std::memcpy(&bytes, cursor, kBlock);
    const int plain = plainOf(bytes);
    cursor += plain;
    if (plain < kBlock) return cursor;
  }
  while (cursor != end && isPlain(*cursor)) ++cursor;
  return cursor;
}

// The characters that need no decoding: plain ones and UTF-8.
const char* endOfRun(const char* cursor, const char* end) {
  while (true) {
    cursor = endOfPlain(cursor, end);
    if (cursor == end || static_cast<unsigned char>(*cursor) < 0x80) return cursor;
    const UTF8Prefix prefix = utf8PrefixOf({cursor, static_cast<std::size_t>(end - cursor)});
    if (!prefix.isWhole()) return cursor;
    cursor += prefix.wanted;
  }
}

std::optional<unsigned> hexadecimalDigit(char character) {
  if (character >= '0' && character <= '9') return character - '0';
  if (character >= 'a' && character <= 'f') return character - 'a' + 10;
  if (character >= 'A' && character <= 'F') return character - 'A' + 10;
  return std::nullopt;
}

}  // namespace

bool JSONScanner::refuseNext(std::string_view reason) noexcept {
  position_ = static_cast<std::size_t>(cursor_ - begin_) + (cursor_ != end_ ? 1 : 0);
  reason_ = cursor_ != end_ ? reason : "it ends too early";
  return false;
}

bool JSONScanner::refuseRead(std::string_view reason) noexcept {
  position_ = static_cast<std::size_t>(cursor_ - begin_);
  reason_ = reason;
  return false;
}

bool JSONScanner::refuseToken(std::string_view reason) {
  if (std::string_view("[]{}:,").find(next()) != std::string_view::npos) return refuseNext(reason);
  Value unused;
  return scalar(unused) && refuseRead(reason);
}

bool JSONScanner::scalar(Value& value) {
  switch (peek()) {
    case '"':
      if (const auto text = string()) {
        fillNull(value, std::string(*text));
        return true;
      }
      return false;
    case 't':
      value = true;
      return word("true");
    case 'f':
      value = false;
      return word("false");
    case 'n':
      value = nullptr;
      return word("null");
    default:
      return number(value);
  }
}

bool JSONScanner::word(std::string_view word) noexcept {
  for (const char expected : word) {
    if (peek() != expected) return refuseNext("a word is none of true, false and null");
    advance();
  }
  return true;
}

bool JSONScanner::digits() noexcept {
  const auto isDigit = [this] { return peek() >= '0' && peek() <= '9'; };
  if (!isDigit()) return refuseNext("a digit is missing");
  while (isDigit()) advance();
  return true;
}

bool JSONScanner::number(Value& value) {
  const char* const begin = cursor_;
  if (peek() == '-') {
    advance();
  } else if (peek() < '0' || peek() > '9') {
    return refuseNext("no value begins like this");
  }
  // No digit may follow a leading zero; one that does is found to be a token too many.
  if (peek() == '0') {
    advance();
  } else if (!digits()) {
    return false;
  }
  bool isInteger = true;
  if (peek() == '.') {
    isInteger = false;
    advance();
    if (!digits()) return false;
  }
  if (peek() == 'e' || peek() == 'E') {
    isInteger = false;
    advance();
    if (peek() == '+' || peek() == '-') advance();
    if (!digits()) return false;
  }
  const std::string_view token(begin, static_cast<std::size_t>(cursor_ - begin));
  return valueOfNumber(token, isInteger, value) || refuseRead("a number is too large");
}

std::optional<std::string_view> JSONScanner::string() {
  advance();
  const char* const run = cursor_;
  cursor_ = endOfRun(cursor_, end_);
  if (peek() != '"') return decoded(run);
  advance();
  return std::string_view(run, static_cast<std::size_t>(cursor_ - 1 - run));
}

// Goes on with a string of which only the first run needs no decoding.
std::optional<std::string_view> JSONScanner::decoded(const char* run) {
  decoded_.assign(run, cursor_);
  while (peek() != '"') {
    if (!(peek() == '\\' ? escape() : refuseInString())) return std::nullopt;
    run = cursor_;
    cursor_ = endOfRun(cursor_, end_);
    decoded_.append(run, cursor_);
  }
  advance();
  return decoded_;
}

bool JSONScanner::refuseInString() noexcept {
  if (static_cast<unsigned char>(peek()) < ' ')
    return refuseNext("a string holds a control character");
  cursor_ += utf8PrefixOf({cursor_, static_cast<std::size_t>(end_ - cursor_)}).fitting;
  return refuseNext("a string is not UTF-8");
}

bool JSONScanner::escape() {
  constexpr std::string_view kNames = "\"\\/bfnrt";
  constexpr std::string_view kMeanings = "\"\\/\b\f\n\r\t";
  advance();
  if (peek() == 'u') {
    advance();
    return escapedCharacter();
  }
  const auto place = kNames.find(peek());
  if (place == std::string_view::npos) return refuseNext("an escape is unknown");
  decoded_ += kMeanings[place];
  advance();
  return true;
}

bool JSONScanner::codeUnit(char32_t& unit) noexcept {
  unit = 0;
  for (int digit = 0; digit < 4; ++digit) {
    const auto value = hexadecimalDigit(peek());
    if (!value) return refuseNext("an escape lacks a hexadecimal digit");
    unit = unit * 16 + *value;
    advance();
  }
  return true;
}

// One or, for a surrogate pair, two escaped code units, the first of which lacks its "\u".
bool JSONScanner::escapedCharacter() {
  constexpr std::string_view kHalf = "an escape is half a surrogate pair";
  char32_t unit = 0;
  if (!codeUnit(unit)) return false;
  if (isLowSurrogate(unit)) return refuseRead(kHalf);
  if (!isHighSurrogate(unit)) {
    appendCharacter(unit, decoded_);
    return true;
  }
  for (const char expected : {'\\', 'u'}) {
    if (peek() != expected) return refuseNext(kHalf);
    advance();
  }
  char32_t second = 0;
  if (!codeUnit(second)) return false;
  if (!isLowSurrogate(second)) return refuseRead(kHalf);
  appendCharacter(characterOfPair(unit, second), decoded_);
  return true;
}

}  // namespace orx::platform::JSONSerialization
