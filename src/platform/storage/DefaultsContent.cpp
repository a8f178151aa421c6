// SPDX-License-Identifier: MIT
#include "platform/storage/DefaultsContent.h"

#include <algorithm>
#include <vector>

#include "platform/base/Checksum.h"
#include "platform/formats/PropertyList.h"

namespace orx::platform {

namespace {

using Kind = PropertyListReader::Kind;
using Reference = PropertyListReader::Reference;

// The trailer is the last 32 bytes of a list, and its first five mean nothing to the format. Here
// they hold four bytes of checksum, little-endian, and a mark: without the mark, a checksum that
// happens to be zero would look like none. The checksum covers the list with these five bytes zero.
constexpr std::size_t trailerSize = 32;
constexpr std::size_t fieldSize = 5;
constexpr std::uint8_t checksumMark = 0xA5;

Data withChecksum(const Data& list) {
  std::vector<std::uint8_t> bytes(list.bytes().begin(), list.bytes().end());
  const auto field = std::span(bytes).last(trailerSize).first(fieldSize);
  std::ranges::fill(field, std::uint8_t{0});
  const auto checksum = checksumOf(bytes);
  for (unsigned byte = 0; byte < 4; ++byte) {
    field[byte] = static_cast<std::uint8_t>(checksum >> (8 * byte));
  }
  field[4] = checksumMark;
  return Data(std::move(bytes));
}

void requireChecksum(const Data& content) {
  if (content.size() < trailerSize) return;
  const auto field = content.bytes().last(trailerSize).first(fieldSize);
  const bool none = std::ranges::all_of(field, [](std::uint8_t byte) { return byte == 0; });
  if (!none && withChecksum(content) != content) {
    throw MalformedPropertyList("its checksum is wrong");
  }
}

std::optional<std::string> stringUnder(const PropertyListReader& list, std::string_view key) {
  const auto value = list.find(list.top(), key);
  if (!value) return std::nullopt;
  switch (list.kind(*value)) {
    case Kind::String:
      return list.string(*value);
    case Kind::Integer:
    case Kind::Real:
      return list.scalar(*value).text();
    default:
      return std::nullopt;
  }
}

// The list without `key`, or with another value under it.
Data rewritten(const PropertyListReader* list, std::string_view key,
               std::optional<std::string_view> value) {
  PropertyListWriter writer;
  std::vector<Reference> keys;
  std::vector<Reference> values;
  if (list != nullptr) {
    // Only what the other entries reach is copied: the old root and the old value would otherwise
    // make the file longer with each change.
    std::vector<Reference> kept;
    const auto root = list->children(list->top());
    const auto count = root.size() / 2;
    for (std::size_t index = 0; index < count; ++index) {
      if (!list->isString(root[index], key)) {
        kept.insert(kept.end(), {root[index], root[count + index]});
      }
    }
    const auto copies = writer.addObjects(*list, kept);
    for (std::size_t index = 0; index < kept.size(); index += 2) {
      keys.push_back(copies[kept[index]]);
      values.push_back(copies[kept[index + 1]]);
    }
  }
  if (value) {
    keys.push_back(writer.addString(key));
    values.push_back(writer.addString(*value));
  }
  return withChecksum(writer.finish(writer.addDictionary(keys, values)));
}

PropertyListReader readerOf(const Data& content) {
  requireChecksum(content);
  PropertyListReader list(content.bytes());
  if (list.kind(list.top()) != Kind::Dictionary) {
    throw MalformedPropertyList("the root is not a dictionary");
  }
  return list;
}

}  // namespace

std::optional<std::string> stringInDefaults(const Data& content, std::string_view key) {
  return stringUnder(readerOf(content), key);
}

std::optional<Data> changedDefaults(const std::optional<Data>& content, std::string_view key,
                                    std::optional<std::string_view> value) {
  if (!content) return value ? std::optional(rewritten(nullptr, key, value)) : std::nullopt;
  const auto list = readerOf(*content);
  // A value of another kind than text is no string under the key, but has to go all the same.
  const bool isSo = value ? stringUnder(list, key) == value : !list.find(list.top(), key);
  if (isSo) return std::nullopt;
  return rewritten(&list, key, value);
}

}  // namespace orx::platform
