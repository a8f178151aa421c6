#include <algorithm>
#include <bit>
#include <iterator>
#include <limits>

#include "platform/base/Unicode.h"
#include "platform/formats/PropertyList.h"

namespace orx::platform {

namespace {

constexpr std::string_view kMagic = "bplist00";
constexpr std::uint8_t kNull = 0x00;
constexpr std::uint8_t kFalse = 0x08;
constexpr std::uint8_t kTrue = 0x09;
constexpr std::uint8_t kInteger = 0x10;
constexpr std::uint8_t kReal = 0x23;
constexpr std::uint8_t kDate = 0x33;
constexpr std::uint8_t kData = 0x40;
constexpr std::uint8_t kASCIIString = 0x50;
constexpr std::uint8_t kUTF16String = 0x60;
constexpr std::uint8_t kUID = 0x80;
constexpr std::uint8_t kArray = 0xA0;
constexpr std::uint8_t kSet = 0xC0;
constexpr std::uint8_t kDictionary = 0xD0;

// Of 1, 2, 4 and 8 bytes the fewest that hold `integer`.
std::size_t widthOf(std::uint64_t integer) {
  if (integer <= std::numeric_limits<std::uint8_t>::max()) return 1;
  if (integer <= std::numeric_limits<std::uint16_t>::max()) return 2;
  if (integer <= std::numeric_limits<std::uint32_t>::max()) return 4;
  return 8;
}

bool isASCII(std::string_view text) {
  return std::ranges::all_of(text, [](char c) { return static_cast<unsigned char>(c) < 0x80; });
}

}  // namespace

PropertyListWriter::PropertyListWriter() {
  bytes_.reserve(2048);
  bytes_.assign(kMagic.begin(), kMagic.end());
}

PropertyListWriter::Reference PropertyListWriter::addScalar(const Value& value) {
  if (value.kind() == Value::Kind::Integer) return addInteger(value);
  if (value.kind() == Value::Kind::String) return addString(*value.string());
  const Reference object = beginObject();
  switch (value.kind()) {
    case Value::Kind::Null:
      bytes_.push_back(kNull);
      break;
    case Value::Kind::Boolean:
      bytes_.push_back(*value.boolean() ? kTrue : kFalse);
      break;
    case Value::Kind::Double:
      bytes_.push_back(kReal);
      appendUnsigned(std::bit_cast<std::uint64_t>(*value.number()), 8);
      break;
    case Value::Kind::Data: {
      const auto bytes = value.data()->bytes();
      appendMarker(kData, bytes.size());
      bytes_.insert(bytes_.end(), bytes.begin(), bytes.end());
      break;
    }
    default:
      throw std::invalid_argument("a container or an object is no scalar");
  }
  return object;
}

PropertyListWriter::Reference PropertyListWriter::addInteger(const Value& value) {
  const Reference object = beginObject();
  const auto integer = value.integer();
  if (!integer) {
    // Eight bytes are read as signed, so the upper half of the unsigned range takes sixteen.
    bytes_.push_back(kInteger | 4);
    appendUnsigned(0, 8);
    appendUnsigned(*value.unsignedInteger(), 8);
  } else if (*integer < 0) {
    bytes_.push_back(kInteger | 3);
    appendUnsigned(static_cast<std::uint64_t>(*integer), 8);
  } else {
    appendIntegerObject(static_cast<std::uint64_t>(*integer));
  }
  return object;
}

PropertyListWriter::Reference PropertyListWriter::addDate(double date) {
  const Reference object = beginObject();
  bytes_.push_back(kDate);
  appendUnsigned(std::bit_cast<std::uint64_t>(date), 8);
  return object;
}

PropertyListWriter::Reference PropertyListWriter::addUID(std::uint32_t uid) {
  const Reference object = beginObject();
  const std::size_t width = widthOf(uid);
  bytes_.push_back(static_cast<std::uint8_t>(kUID | (width - 1)));
  appendUnsigned(uid, width);
  return object;
}

PropertyListWriter::Reference PropertyListWriter::addString(std::string_view text) {
  const auto place = strings_.lower_bound(text);
  if (place != strings_.end() && place->first == text) return place->second;
  const Reference object = static_cast<Reference>(offsets_.size());
  if (isASCII(text)) {
    beginObject();
    appendMarker(kASCIIString, text.size());
    bytes_.insert(bytes_.end(), text.begin(), text.end());
  } else {
    const auto units = utf16FromUTF8(text);
    if (!units) throw std::invalid_argument("text that is not UTF-8 cannot be archived");
    beginObject();
    appendMarker(kUTF16String, units->size());
    for (const std::uint16_t unit : *units) appendUnsigned(unit, 2);
  }
  strings_.emplace_hint(place, text, object);
  return object;
}

PropertyListWriter::Reference PropertyListWriter::addArray(std::span<const Reference> elements) {
  return addContainer(kArray, elements, {});
}

PropertyListWriter::Reference PropertyListWriter::addSet(std::span<const Reference> elements) {
  return addContainer(kSet, elements, {});
}

PropertyListWriter::Reference PropertyListWriter::addDictionary(std::span<const Reference> keys,
                                                                std::span<const Reference> values) {
  return addContainer(kDictionary, keys, values);
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
    if (reached[object]) addCopy(source, object, copies);
  }
  return copies;
}

void PropertyListWriter::addCopy(const PropertyListReader& source, Reference object,
                                 std::span<const Reference> copies) {
  auto references = source.children(object);
  for (auto& reference : references) reference = copies[reference];
  const std::span<const Reference> all(references);
  switch (source.kind(object)) {
    case PropertyListReader::Kind::Array:
      addArray(all);
      break;
    case PropertyListReader::Kind::Set:
      addSet(all);
      break;
    case PropertyListReader::Kind::Dictionary:
      addDictionary(all.first(all.size() / 2), all.last(all.size() / 2));
      break;
    default:
      beginObject();
      std::ranges::copy(source.encoded(object), std::back_inserter(bytes_));
  }
}

Data PropertyListWriter::finish(Reference top) {
  const std::size_t referenceWidth = widthOf(offsets_.size() - 1);
  appendContainers(referenceWidth);
  const std::size_t table = bytes_.size();
  const std::size_t offsetWidth = widthOf(table - 1);
  for (const std::size_t offset : offsets_) appendUnsigned(offset, offsetWidth);
  appendUnsigned(0, 6);
  appendUnsigned(offsetWidth, 1);
  appendUnsigned(referenceWidth, 1);
  appendUnsigned(offsets_.size(), 8);
  appendUnsigned(top, 8);
  appendUnsigned(table, 8);
  return Data(std::move(bytes_));
}

PropertyListWriter::Reference PropertyListWriter::beginObject() {
  offsets_.push_back(bytes_.size());
  return static_cast<Reference>(offsets_.size() - 1);
}

PropertyListWriter::Reference PropertyListWriter::addContainer(std::uint8_t marker,
                                                               std::span<const Reference> first,
                                                               std::span<const Reference> second) {
  const Reference object = beginObject();
  containers_.push_back(
      {object, marker, first.size(), references_.size(), first.size() + second.size()});
  references_.insert(references_.end(), first.begin(), first.end());
  references_.insert(references_.end(), second.begin(), second.end());
  return object;
}

void PropertyListWriter::appendMarker(std::uint8_t marker, std::size_t count) {
  if (count < 0x0F) {
    bytes_.push_back(static_cast<std::uint8_t>(marker | count));
  } else {
    bytes_.push_back(marker | 0x0F);
    appendIntegerObject(count);
  }
}

void PropertyListWriter::appendUnsigned(std::uint64_t integer, std::size_t width) {
  for (std::size_t byte = width; byte > 0; --byte) {
    bytes_.push_back(static_cast<std::uint8_t>(integer >> (8 * (byte - 1))));
  }
}

void PropertyListWriter::appendIntegerObject(std::uint64_t integer) {
  const std::size_t width = widthOf(integer);
  bytes_.push_back(static_cast<std::uint8_t>(kInteger | std::countr_zero(width)));
  appendUnsigned(integer, width);
}

void PropertyListWriter::appendContainers(std::size_t referenceWidth) {
  for (const Container& container : containers_) {
    offsets_[container.object] = bytes_.size();
    appendMarker(container.marker, container.count);
    const auto references =
        std::span(references_).subspan(container.firstReference, container.references);
    for (const Reference reference : references) appendUnsigned(reference, referenceWidth);
  }
}

}  // namespace orx::platform
