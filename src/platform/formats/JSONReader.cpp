// SPDX-License-Identifier: MIT
#include <algorithm>
#include <array>
#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "platform/base/Limits.h"
#include "platform/formats/JSONScanner.h"
#include "platform/formats/JSONSerialization.h"
#include "platform/formats/TextEncoding.h"

namespace orx::platform {

namespace {

// A parser by recursive descent. The limit on nesting bounds the machine stack that it takes, as it
// does for the writing and the end of values. Values are constructed where they will stay: moving
// them there nearly doubles the time that an answer of 1 KB takes.
class JSONParser {
 public:
  JSONParser(std::string_view text, LargeIntegers largeIntegers)
      : scanner_(text, largeIntegers), size_(text.size()) {
    usualSizes_.fill(atMostReserved(text.size() / kUsualEntrySize));
  }

  Value parse() {
    Value root;
    readValue(root);
    if (scanner_.next() != '\0') scanner_.refuseToken("more follows");
    return root;
  }

 private:
  // The bytes of text that an entry of a dictionary usually takes.
  static constexpr std::size_t kUsualEntrySize = 24;
  // The most entries that room is made for before they are there: the text is somebody else's.
  static constexpr std::size_t kMostReserved = 32;
  static std::uint8_t atMostReserved(std::size_t entries) {
    return static_cast<std::uint8_t>(std::min(entries, kMostReserved));
  }

  // Each of these three reads what comes next into `place`, where null stands.
  void readValue(Value& place) {
    const char first = scanner_.next();
    if (first == ']' || first == '}' || first == ',' || first == ':') {
      scanner_.refuseNext("a value is missing");
    }
    if (first == '[') {
      readArray(place);
    } else if (first == '{') {
      readDictionary(place);
    } else {
      scanner_.readScalar(place);
    }
    if (++values_ > limits::jsonValues) {
      throw JSONSyntaxError{size_,
                            "it holds more than " + std::to_string(limits::jsonValues) + " values"};
    }
  }

  void readArray(Value& place) {
    open();
    std::vector<Value> values;
    if (scanner_.next() != ']') {
      do readValue(values.emplace_back());
      while (hasMore(']'));
    }
    close();
    std::construct_at(&place, Value(Array(std::move(values))));
  }

  void readDictionary(Value& place) {
    // The records of a list are alike: each gets the room that the one before it needed. Kept by
    // depth, so that a text cannot make every level of a deep nesting reserve for a wide one.
    std::uint8_t& usualSize = usualSizes_[depth_];
    open();
    std::vector<DictionaryEntry> entries;
    if (scanner_.next() != '}') {
      entries.reserve(usualSize);
      do readValue(entries.emplace_back(readKey(), nullptr).value);
      while (hasMore('}'));
    }
    close();
    usualSize = atMostReserved(entries.size());
    std::construct_at(&place, Dictionary(std::move(entries)));
  }

  // A key with its colon; valid until the next string is read.
  std::string_view readKey() {
    if (scanner_.next() != '"') scanner_.refuseToken("a key is missing");
    const std::string_view key = scanner_.string();
    if (scanner_.next() != ':') scanner_.refuseToken("a colon is missing");
    scanner_.advance();
    return key;
  }

  void open() {
    if (depth_ == limits::jsonDepth) {
      scanner_.refuseNext("it is nested more than " + std::to_string(limits::jsonDepth) + " deep");
    }
    ++depth_;
    scanner_.advance();
  }

  // Whether a container goes on after one of its elements.
  bool hasMore(char end) {
    const char next = scanner_.next();
    if (next == ',') scanner_.advance();
    if (next == ',' || next == end) return next == ',';
    scanner_.refuseToken("a comma or the closing bracket is missing");
  }

  void close() {
    scanner_.advance();
    --depth_;
  }

  JSONScanner scanner_;
  std::size_t size_;
  std::size_t depth_ = 0;
  std::size_t values_ = 0;
  // By depth, how many entries the last dictionary had; at first a guess. In bytes, because filling
  // them is a tenth of the reading of a short answer otherwise.
  std::array<std::uint8_t, limits::jsonDepth + 1> usualSizes_;
};

Failure failure(std::string_view text, const JSONSyntaxError& error) {
  const std::string_view read = text.substr(0, error.position);
  const auto line = std::ranges::count(read, '\n') + 1;
  // npos + 1 is 0: without a line feed the line begins at the text's begin.
  const std::size_t column = read.size() - (read.rfind('\n') + 1);
  return makeFailure(NSCocoaErrorDomain, NSPropertyListReadCorruptError,
                     "The text is not JSON: line " + std::to_string(line) + ", column " +
                         std::to_string(column) + ": " + error.reason + ".");
}

}  // namespace

Result<Value> JSONObjectWithText(std::string_view text, LargeIntegers largeIntegers) {
  const auto converted = textWithWideMarkInUTF8(text);
  if (converted) text = *converted;
  if (text.starts_with(utf8ByteOrderMark)) text.remove_prefix(utf8ByteOrderMark.size());
  try {
    if (text.empty()) throw JSONSyntaxError{0, "it is empty"};
    if (const auto nul = text.find('\0'); nul != std::string_view::npos) {
      throw JSONSyntaxError{nul + 1, "it holds a NUL"};
    }
    return JSONParser(text, largeIntegers).parse();
  } catch (const JSONSyntaxError& error) {
    return failure(text, error);
  }
}

}  // namespace orx::platform
