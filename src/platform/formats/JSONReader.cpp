#include <algorithm>
#include <exception>
#include <string>
#include <utility>
#include <vector>

#include "platform/base/Limits.h"
#include "platform/formats/JSONScanner.h"
#include "platform/formats/JSONSerialization.h"

namespace orx::platform::JSONSerialization {

namespace {

// Builds the value of a text. Open arrays and dictionaries stand on a stack of their own, so depth
// costs no machine stack.
class Reader {
 public:
  explicit Reader(std::string_view text) noexcept : scanner_(text) {}

  bool read() {
    scanner_.next();
    while (value()) {
      if (!isComplete_) continue;
      if (!closeWhatEnds()) return false;
      if (depth_ == 0) return scanner_.next() == '\0' || scanner_.refuseToken("more follows");
    }
    return false;
  }

  Value takeValue() { return std::move(value_); }
  bool isTooDeep() const { return isTooDeep_; }
  bool hasTooMany() const { return values_ > limits::jsonValues; }
  const JSONScanner& scanner() const { return scanner_; }

 private:
  // One level of nesting. A level that is left keeps its place for the next container.
  struct Level {
    bool isArray = false;
    Array array{};
    std::vector<DictionaryEntry> entries{};
    // As many as the last container on this level had: the records of a list are alike.
    std::size_t expectedSize;
    std::size_t bytesLeft = 0;  // when it was opened
  };

  // The most members that room is made for before any is read, and the bytes of text that one
  // usually takes.
  static constexpr std::size_t kMostRoom = 32;
  static constexpr std::size_t kMemberSize = 24;
  static constexpr std::size_t kUsualDepth = 4;
  // A list with fewer elements grows as it likes, a longer one by this factor at most.
  static constexpr std::size_t kFewElements = 16;
  static constexpr std::size_t kMostGrowth = 8;

  Level& level() { return levels_[depth_ - 1]; }

  // Where the next value goes: null stands there.
  Value& place() {
    if (depth_ == 0) return value_;
    Level& open = level();
    if (!open.isArray) return open.entries.back().value;
    makeRoomIn(open);
    return open.array.emplace_back();
  }

  // As much as the elements so far let expect, within bounds: the text is somebody else's.
  void makeRoomIn(Level& list) const {
    const std::size_t size = list.array.size();
    if (size < kFewElements || size < list.array.capacity()) return;
    const std::size_t bytesOfEach = (list.bytesLeft - scanner_.bytesLeft()) / size;
    const std::size_t expected =
        size + scanner_.bytesLeft() / std::max<std::size_t>(bytesOfEach, 1);
    list.array.reserve(std::clamp(expected + 1, size + size / 2, size * kMostGrowth));
  }

  // Reads a value, or the begin of an array or dictionary up to its first value.
  bool value() {
    const char first = scanner_.next();
    isComplete_ = true;
    if (first == '[') return open(true);
    if (first == '{') return open(false);
    if (first == ']' || first == '}' || first == ',' || first == ':') {
      return scanner_.refuseNext("a value is missing");
    }
    return scanner_.scalar(place()) && count();
  }

  bool open(bool isArray) {
    if (depth_ == limits::jsonDepth) {
      isTooDeep_ = true;
      return scanner_.refuseNext("");
    }
    scanner_.advance();
    if (depth_ == levels_.size()) {
      if (depth_ == 0) levels_.reserve(kUsualDepth);
      levels_.push_back({.expectedSize = std::min(scanner_.bytesLeft() / kMemberSize, kMostRoom)});
    }
    ++depth_;
    level().isArray = isArray;
    level().bytesLeft = scanner_.bytesLeft();
    const char next = scanner_.next();
    if (next == (isArray ? ']' : '}')) return close();
    isComplete_ = false;
    if (isArray) return true;
    level().entries.reserve(level().expectedSize);
    return key();
  }

  bool key() {
    if (scanner_.next() != '"') return scanner_.refuseToken("a key is missing");
    const auto text = scanner_.string();
    if (!text) return false;
    level().entries.emplace_back(*text);
    if (scanner_.next() != ':') return scanner_.refuseToken("a colon is missing");
    scanner_.advance();
    return true;
  }

  // Reads what follows a value, up to the next value of an open container.
  bool closeWhatEnds() {
    while (depth_ > 0) {
      const char next = scanner_.next();
      if (next == ',') {
        scanner_.advance();
        return level().isArray || key();
      }
      const char end = level().isArray ? ']' : '}';
      if (next != end) return scanner_.refuseToken("a comma or the closing bracket is missing");
      if (!close()) return false;
    }
    return true;
  }

  bool close() {
    scanner_.advance();
    Level& closed = level();
    --depth_;
    if (closed.isArray) {
      fillNull(place(), Value(std::exchange(closed.array, {})));
    } else {
      closed.expectedSize = std::min(closed.entries.size(), kMostRoom);
      fillNull(place(), Dictionary(std::exchange(closed.entries, {})));
    }
    return count();
  }

  bool count() { return ++values_ <= limits::jsonValues; }

  JSONScanner scanner_;
  std::vector<Level> levels_;
  std::size_t depth_ = 0;
  std::size_t values_ = 0;
  Value value_;
  // Whether the value that was read last is whole, and not the begin of one.
  bool isComplete_ = false;
  bool isTooDeep_ = false;
};

Reading failure(std::string_view text, std::size_t bytesRead, std::string_view reason) {
  const std::string_view read = text.substr(0, bytesRead);
  const auto line = std::ranges::count(read, '\n') + 1;
  // npos + 1 is 0: without a line feed the line begins at the text's begin.
  const std::size_t column = read.size() - (read.rfind('\n') + 1);
  std::string description = "The text is not JSON: line " + std::to_string(line) + ", column " +
                            std::to_string(column) + ": " + std::string(reason) + ".";
  Dictionary userInfo{{std::string(NSLocalizedDescriptionKey), std::move(description)}};
  return {Value(), Error::errorWithDomain_code_userInfo(
                       NSCocoaErrorDomain, NSPropertyListReadCorruptError, std::move(userInfo))};
}

Reading read(std::string_view text) {
  if (text.empty()) return failure(text, 0, "it is empty");
  if (text.starts_with("\xEF\xBB\xBF")) return failure(text, 1, "it begins with a byte order mark");
  if (const auto nul = text.find('\0'); nul != std::string_view::npos) {
    return failure(text, nul + 1, "it holds a NUL");
  }
  Reader reader(text);
  if (reader.read()) return {reader.takeValue(), nullptr};
  if (reader.isTooDeep()) {
    return failure(text, reader.scanner().position(),
                   "it is nested more than " + std::to_string(limits::jsonDepth) + " deep");
  }
  if (reader.hasTooMany()) {
    return failure(text, text.size(),
                   "it holds more than " + std::to_string(limits::jsonValues) + " values");
  }
  return failure(text, reader.scanner().position(), reader.scanner().reason());
}

}  // namespace

Reading JSONObjectWithText(std::string_view text) {
  try {
    return read(text);
  } catch (const std::exception& error) {
    return failure({}, 0, error.what());
  }
}

}  // namespace orx::platform::JSONSerialization
