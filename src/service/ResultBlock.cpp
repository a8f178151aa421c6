#include "service/ResultBlock.h"

#include <algorithm>
#include <cstring>

#include "platform/base/Unicode.h"

namespace orx {

using namespace platform;

namespace {

// The runs of literal text between the patterns' groups. Two occurrences of one of them never
// overlap.
constexpr std::string_view kStart = "<ResultCode>";
constexpr std::string_view kCodeToDescription = "</ResultCode><ResultDesc>";
constexpr std::string_view kDescriptionToType = "</ResultDesc><ReturnDataType>";
constexpr std::string_view kTypeToData = "</ReturnDataType><ReturnData>";
constexpr std::string_view kTypeToEmptyData = "</ReturnDataType><ReturnData />";
constexpr std::string_view kEnd = "</ReturnData>";

// Where a literal stands: [begin, end). The lengths differ, since "s" may be written with two
// bytes.
struct Place {
  std::size_t begin;
  std::size_t end;
};

char lowercase(char character) {
  return character >= 'A' && character <= 'Z' ? static_cast<char>(character + ('a' - 'A'))
                                              : character;
}

// Up to here every literal is as long in the text as it is here, for it holds no "s".
constexpr std::size_t kTelling = 2;
constexpr bool tellsEarly(std::string_view literal) {
  return literal.substr(0, kTelling + 1).find_first_of("sS") == std::string_view::npos;
}
static_assert(tellsEarly(kStart) && tellsEarly(kCodeToDescription) &&
              tellsEarly(kDescriptionToType) && tellsEarly(kTypeToData) &&
              tellsEarly(kTypeToEmptyData) && tellsEarly(kEnd));

// The literal at exactly this position of the text. Of all characters outside ASCII, only U+017F
// (long s) folds to a letter that the literals hold.
std::optional<Place> literalAt(std::string_view text, std::size_t begin, std::string_view literal) {
  // Most of what is looked at differs here already.
  if (begin + kTelling < text.size() &&
      lowercase(text[begin + kTelling]) != lowercase(literal[kTelling])) {
    return std::nullopt;
  }
  if (text.substr(begin, literal.size()) == literal) return Place{begin, begin + literal.size()};
  std::size_t position = begin;
  for (const char expected : literal) {
    if (position == text.size()) return std::nullopt;
    const char character = text[position];
    if (character == expected || lowercase(character) == lowercase(expected)) {
      ++position;
    } else if (lowercase(expected) == 's' && text.substr(position, 2) == "\u017F") {
      position += 2;
    } else {
      return std::nullopt;
    }
  }
  return Place{begin, position};
}

std::optional<Place> firstLiteral(std::string_view text, std::size_t from,
                                  std::string_view literal) {
  for (std::size_t begin = text.find('<', from); begin != std::string_view::npos;
       begin = text.find('<', begin + 1)) {
    if (const auto place = literalAt(text, begin, literal)) return place;
  }
  return std::nullopt;
}

// The last place in the text that `placeAt` (from a position of a "<" to a place) accepts.
template <typename PlaceAt>
std::optional<Place> lastPlace(std::string_view text, PlaceAt placeAt) {
  for (std::size_t end = text.size(); end > 0;) {
    const void* const found = memrchr(text.data(), '<', end);
    if (found == nullptr) return std::nullopt;
    const auto begin = static_cast<std::size_t>(static_cast<const char*>(found) - text.data());
    if (const auto place = placeAt(begin)) return place;
    end = begin;
  }
  return std::nullopt;
}

std::optional<Place> lastLiteral(std::string_view text, std::string_view literal) {
  return lastPlace(text, [&](std::size_t begin) { return literalAt(text, begin, literal); });
}

constexpr std::size_t kBlockSize = 32;

// Whether a line terminator may begin in this block of bytes; looks at all of them at once.
bool mayEndLine(const char* block) {
  // Bytes throughout, so that the compiler need not widen them.
  unsigned char found = 0;
  for (std::size_t position = 0; position < kBlockSize; ++position) {
    const auto byte = static_cast<unsigned char>(block[position]);
    found |= static_cast<unsigned char>(byte < 0x0E ? 1 : 0) |
             static_cast<unsigned char>(byte == 0xC2 ? 1 : 0) |
             static_cast<unsigned char>(byte == 0xE2 ? 1 : 0);
  }
  return found != 0;
}

// Whether one stands here: LF, VT, FF, CR, U+0085, U+2028 or U+2029.
bool isLineEnd(std::string_view text, std::size_t position) {
  const char character = text[position];
  if (character >= '\n' && character <= '\r') return true;
  if (character == '\xC2') return text.substr(position, 2) == "\u0085";
  if (character != '\xE2') return false;
  const std::string_view three = text.substr(position, 3);
  return three == "\u2028" || three == "\u2029";
}

// The position of the next line terminator.
std::size_t lineEnd(std::string_view text, std::size_t from) {
  for (std::size_t position = from; position < text.size();) {
    const std::size_t left = text.size() - position;
    if (left >= kBlockSize && !mayEndLine(text.data() + position)) {
      position += kBlockSize;
      continue;
    }
    const std::size_t stop = position + std::min(left, kBlockSize);
    for (; position < stop; ++position) {
      if (isLineEnd(text, position)) return position;
    }
  }
  return text.size();
}

std::string_view between(std::string_view text, std::size_t begin, std::size_t end) {
  return text.substr(begin, end - begin);
}

// The match on one line whose leftmost start literal ends at 0. Each group is as long as it can be,
// so each literal stands as far right as the ones after it allow: they are placed from the last to
// the first, each once, and the start needs no second try because a later one only leaves less
// room.
std::optional<ResultBlock> matchAfterStart(std::string_view line, ResultBlockPattern pattern) {
  const auto end = lastLiteral(line, kEnd);
  const auto tail = lastPlace(line, [&](std::size_t begin) -> std::optional<Place> {
    const auto toData = literalAt(line, begin, kTypeToData);
    if (toData && end && toData->end <= end->begin) return toData;
    if (pattern == ResultBlockPattern::Strict) return std::nullopt;
    return literalAt(line, begin, kTypeToEmptyData);
  });
  if (!tail) return std::nullopt;
  const auto toType = lastLiteral(line.substr(0, tail->begin), kDescriptionToType);
  if (!toType) return std::nullopt;
  const auto toDescription = lastLiteral(line.substr(0, toType->begin), kCodeToDescription);
  if (!toDescription) return std::nullopt;

  ResultBlock block{between(line, 0, toDescription->begin),
                    between(line, toDescription->end, toType->begin),
                    between(line, toType->end, tail->begin), std::nullopt};
  if (line[tail->end - 2] != '/') block.returnData = between(line, tail->end, end->begin);
  return block;
}

}  // namespace

std::optional<ResultBlock> matchResultBlock(std::string_view answer, ResultBlockPattern pattern) {
  if (!isValidUTF8(answer)) return std::nullopt;
  std::size_t position = 0;
  while (const auto start = firstLiteral(answer, position, kStart)) {
    position = lineEnd(answer, start->end);
    if (auto block = matchAfterStart(between(answer, start->end, position), pattern)) return block;
  }
  return std::nullopt;
}

}  // namespace orx
