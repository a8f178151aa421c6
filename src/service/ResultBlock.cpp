// SPDX-License-Identifier: MIT
#include "service/ResultBlock.h"

#include <algorithm>
#include <cstring>

#include "platform/base/Text.h"
#include "platform/base/Unicode.h"

namespace orx::service {

using namespace platform;

namespace {

// The literal text between the patterns' groups. Each begins with "<" and holds no second "<" that
// could begin it too, so two occurrences of one literal never overlap.
constexpr std::string_view kStart = "<ResultCode>";
constexpr std::string_view kCodeToDescription = "</ResultCode><ResultDesc>";
constexpr std::string_view kDescriptionToType = "</ResultDesc><ReturnDataType>";
constexpr std::string_view kTypeToData = "</ReturnDataType><ReturnData>";
constexpr std::string_view kTypeToEmptyData = "</ReturnDataType><ReturnData />";
constexpr std::string_view kEnd = "</ReturnData>";

// Where a literal stands: [begin, end). In the text it can be longer than the literal itself, since
// an "s" may be written with two bytes.
struct Match {
  std::size_t begin;
  std::size_t end;
};

// The literal at exactly this position of the text, without regard to case. Of all characters
// outside ASCII, only U+017F (long s) folds to a letter that the literals hold.
std::optional<Match> literalAt(std::string_view text, std::size_t begin, std::string_view literal) {
  // Nearly always it is written as the pattern has it.
  if (text.substr(begin, literal.size()) == literal) return Match{begin, begin + literal.size()};
  std::size_t position = begin;
  for (const char expected : literal) {
    if (position == text.size()) return std::nullopt;
    if (lowerCase(text[position]) == lowerCase(expected)) {
      ++position;
    } else if (lowerCase(expected) == 's' && text.substr(position, 2) == "\u017F") {
      position += 2;
    } else {
      return std::nullopt;
    }
  }
  return Match{begin, position};
}

std::optional<Match> firstLiteral(std::string_view text, std::size_t from,
                                  std::string_view literal) {
  for (std::size_t begin = text.find('<', from); begin != std::string_view::npos;
       begin = text.find('<', begin + 1)) {
    if (const auto match = literalAt(text, begin, literal)) return match;
  }
  return std::nullopt;
}

// The last match in the text; `matchAt` is asked at each "<", from the last one to the first.
template <typename MatchAt>
std::optional<Match> lastMatch(std::string_view text, MatchAt matchAt) {
  for (std::size_t end = text.size(); end > 0;) {
    const void* const found = memrchr(text.data(), '<', end);
    if (found == nullptr) return std::nullopt;
    const auto begin = static_cast<std::size_t>(static_cast<const char*>(found) - text.data());
    if (const auto match = matchAt(begin)) return match;
    end = begin;
  }
  return std::nullopt;
}

std::optional<Match> lastLiteral(std::string_view text, std::string_view literal) {
  return lastMatch(text, [&](std::size_t begin) { return literalAt(text, begin, literal); });
}

constexpr std::size_t kBlockSize = 32;

// Whether a line terminator may begin in this block of bytes. Most of an answer is one long line,
// so lineEnd() passes over it block by block. Without a branch and with bytes throughout, the
// compiler compares a whole block in a few instructions.
bool mayEndLine(const char* block) {
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

// The position of the next line terminator, or the text's end.
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

// The match on the rest of a line that follows a start literal. The groups are greedy: each literal
// stands as far right as the ones after it allow. So they are looked for from the last to the
// first, each once, which keeps the time linear. When this fails, a later start on the same line
// fails too, because it leaves less room.
std::optional<ResultBlock> matchAfterStart(std::string_view line, ResultBlockPattern pattern) {
  const auto end = lastLiteral(line, kEnd);
  const auto tail = lastMatch(line, [&](std::size_t begin) -> std::optional<Match> {
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
  // The empty element ends in "/>" and leaves the group absent.
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

}  // namespace orx::service
