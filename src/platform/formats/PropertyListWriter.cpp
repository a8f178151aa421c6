// SPDX-License-Identifier: MIT
#include <algorithm>
#include <bit>
#include <iterator>

#include "platform/base/Text.h"
#include "platform/base/Unicode.h"
#include "platform/formats/PropertyList.h"

namespace orx::platform {

namespace {

// Of 1, 2, 4 and 8 bytes the fewest that hold `integer`.
std::size_t widthOf(std::uint64_t integer) {
  const auto bits = static_cast<std::size_t>(std::bit_width(integer | 1U));
  return std::bit_ceil((bits + 7) / 8);
}

}  // namespace

PropertyListWriter::PropertyListWriter() {
  bytes_.reserve(2048);
  bytes_.assign(kPropertyListMagic.begin(), kPropertyListMagic.end());
}

PropertyListWriter::Reference PropertyListWriter::addScalar(const Value& value) {
  if (const std::string* text = value.string()) return addString(*text);
  const Reference object = beginObject();
  switch (value.kind()) {
    case Value::Kind::Null:
      appendMarker(Kind::Null, 0);
      break;
    case Value::Kind::Boolean:
      appendMarker(Kind::Boolean, *value.boolean() ? 1 : 0);
      break;
    case Value::Kind::Integer:
      appendInteger(value);
      break;
    case Value::Kind::Double:
      appendMarker(Kind::Real, 3);
      appendUnsigned(std::bit_cast<std::uint64_t>(*value.number()), 8);
      break;
    case Value::Kind::Data:
      appendCounted(Kind::Data, value.data()->size());
      append(value.data()->bytes());
      break;
    default:
      throw std::invalid_argument("a container or an object is no scalar");
  }
  return object;
}

PropertyListWriter::Reference PropertyListWriter::addUID(std::uint32_t uid) {
  const Reference object = beginObject();
  const std::size_t width = widthOf(uid);
  appendMarker(Kind::UID, width - 1);
  appendUnsigned(uid, width);
  return object;
}

PropertyListWriter::Reference PropertyListWriter::addString(std::string_view text) {
  const auto place = strings_.lower_bound(text);
  if (place != strings_.end() && place->first == text) return place->second;
  const Reference object = addAnotherString(text);
  strings_.emplace_hint(place, text, object);
  return object;
}

PropertyListWriter::Reference PropertyListWriter::addAnotherString(std::string_view text) {
  if (isASCII(text)) {
    const Reference object = beginObject();
    appendCounted(Kind::String, text.size());
    append(bytesOf(text));
    return object;
  }
  const auto units = utf16FromUTF8(text);
  if (!units) throw std::invalid_argument("text that is not UTF-8 cannot be archived");
  const Reference object = beginObject();
  appendCounted(Kind::UTF16String, units->size());
  for (const std::uint16_t unit : *units) appendUnsigned(unit, 2);
  return object;
}

std::optional<PropertyListWriter::Reference> PropertyListWriter::findString(
    std::string_view text) const {
  const auto found = strings_.find(text);
  return found == strings_.end() ? std::nullopt : std::optional(found->second);
}

PropertyListWriter::Reference PropertyListWriter::addContainer(
    Kind kind, std::span<const Reference> references) {
  const Reference object = beginObject();
  containers_.push_back({object, kind, {references.begin(), references.end()}});
  return object;
}

PropertyListWriter::Reference PropertyListWriter::addDictionary(std::span<const Reference> keys,
                                                                std::span<const Reference> values) {
  std::vector<Reference> references(keys.begin(), keys.end());
  references.insert(references.end(), values.begin(), values.end());
  return addContainer(Kind::Dictionary, references);
}

std::vector<PropertyListWriter::Reference> PropertyListWriter::addObjects(
    const PropertyListReader& source, std::span<const Reference> roots) {
  // A list of what is still to be visited takes the place of recursion, which a deep list would
  // drive beyond the stack.
  std::vector<bool> reached(source.size());
  std::vector<Reference> pending(roots.begin(), roots.end());
  while (!pending.empty()) {
    const Reference object = pending.back();
    pending.pop_back();
    if (reached[object]) continue;
    reached[object] = true;
    std::ranges::copy(source.children(object), std::back_inserter(pending));
  }
  // Containers may refer to objects that come after them, so all are numbered before the first is
  // added.
  std::vector<Reference> copies(source.size());
  auto next = static_cast<Reference>(offsets_.size());
  for (Reference object = 0; object < source.size(); ++object) {
    if (reached[object]) copies[object] = next++;
  }
  for (Reference object = 0; object < source.size(); ++object) {
    if (!reached[object]) continue;
    auto references = source.children(object);
    for (Reference& reference : references) reference = copies[reference];
    if (PropertyListReader::isContainer(source.kind(object))) {
      addContainer(source.kind(object), references);
    } else {
      beginObject();
      append(source.encoded(object));
    }
  }
  return copies;
}

Data PropertyListWriter::finish(Reference top) {
  const std::size_t referenceWidth = widthOf(offsets_.size() - 1);
  for (const Container& container : containers_) {
    offsets_[container.object] = bytes_.size();
    const std::size_t size = container.references.size();
    appendCounted(container.kind, container.kind == Kind::Dictionary ? size / 2 : size);
    for (const Reference reference : container.references) {
      appendUnsigned(reference, referenceWidth);
    }
  }
  const std::size_t table = bytes_.size();
  const std::size_t offsetWidth = widthOf(table - 1);
  for (const std::size_t offset : offsets_) appendUnsigned(offset, offsetWidth);
  appendUnsigned(0, 6);
  appendUnsigned(offsetWidth, 1);
  appendUnsigned(referenceWidth, 1);
  appendUnsigned(offsets_.size(), 8);
  appendUnsigned(top, 8);
  appendUnsigned(table, 8);
  return Data(std::vector<std::uint8_t>(bytes_.begin(), bytes_.end()));
}

PropertyListWriter::Reference PropertyListWriter::beginObject() {
  offsets_.push_back(bytes_.size());
  return static_cast<Reference>(offsets_.size() - 1);
}

void PropertyListWriter::append(std::span<const std::uint8_t> bytes) {
  bytes_.insert(bytes_.end(), bytes.begin(), bytes.end());
}

void PropertyListWriter::appendMarker(Kind kind, std::size_t lowerBits) {
  bytes_.push_back(static_cast<std::uint8_t>(static_cast<std::size_t>(kind) | lowerBits));
}

// The beginning of an object whose length its bytes name.
void PropertyListWriter::appendCounted(Kind kind, std::size_t count) {
  appendMarker(kind, std::min<std::size_t>(count, 0x0F));
  if (count >= 0x0F) appendShortest(count);
}

void PropertyListWriter::appendUnsigned(std::uint64_t integer, std::size_t width) {
  for (std::size_t byte = width; byte > 0; --byte) {
    bytes_.push_back(static_cast<std::uint8_t>(integer >> (8 * (byte - 1))));
  }
}

// An integer object that is not negative.
void PropertyListWriter::appendShortest(std::uint64_t integer) {
  const std::size_t width = widthOf(integer);
  appendMarker(Kind::Integer, static_cast<std::size_t>(std::countr_zero(width)));
  appendUnsigned(integer, width);
}

void PropertyListWriter::appendInteger(const Value& value) {
  const auto integer = value.integer();
  if (integer && *integer >= 0) return appendShortest(*value.unsignedInteger());
  // Eight bytes are read as signed: they hold what is below zero, and the upper half of the
  // unsigned range takes sixteen.
  appendMarker(Kind::Integer, integer ? 3 : 4);
  if (!integer) appendUnsigned(0, 8);
  appendUnsigned(integer ? static_cast<std::uint64_t>(*integer) : *value.unsignedInteger(), 8);
}

}  // namespace orx::platform
