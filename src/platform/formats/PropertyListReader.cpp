// SPDX-License-Identifier: MIT
#include <algorithm>
#include <bit>

#include "platform/base/Limits.h"
#include "platform/base/Unicode.h"
#include "platform/formats/PropertyList.h"

namespace orx::platform {

namespace {

constexpr std::size_t kTrailerSize = 32;
constexpr std::size_t kWidestInteger = 8;
constexpr auto kUnknownKind = "an object is of an unknown kind";
constexpr auto kUnexpectedKind = "an object is not of the expected kind";

[[noreturn]] void refuse(const char* reason) { throw MalformedPropertyList(reason); }

// The bytes of a number, of which the marker names the logarithm. Shifting by more than the format
// allows would give a width that no integer here can hold.
std::size_t widthFrom(std::size_t logarithm, std::size_t least, std::size_t most) {
  if (logarithm < least || logarithm > most) refuse("an object has an impossible width");
  return std::size_t{1} << logarithm;
}

}  // namespace

PropertyListReader::PropertyListReader(std::span<const std::uint8_t> bytes) : bytes_(bytes) {
  if (bytes.size() < kPropertyListMagic.size() + kTrailerSize ||
      !std::equal(kPropertyListMagic.begin(), kPropertyListMagic.end(), bytes.begin())) {
    refuse("the data is no binary property list");
  }
  const std::size_t trailer = bytes.size() - kTrailerSize;
  const std::size_t offsetWidth = bytes[trailer + 6];
  referenceWidth_ = bytes[trailer + 7];
  const std::uint64_t count = unsignedAt(trailer + 8, 8);
  const std::uint64_t top = unsignedAt(trailer + 16, 8);
  const std::uint64_t table = unsignedAt(trailer + 24, 8);
  if (offsetWidth < 1 || offsetWidth > kWidestInteger || referenceWidth_ < 1 ||
      referenceWidth_ > kWidestInteger) {
    refuse("the trailer names an impossible width");
  }
  if (count > limits::propertyListObjects) refuse("there are too many objects");
  if (table < kPropertyListMagic.size() || table > trailer ||
      count > (trailer - table) / offsetWidth) {
    refuse("the offset table leaves the data");
  }
  if (top >= count) refuse("the root object is not in the table");
  end_ = table;
  top_ = static_cast<Reference>(top);
  readTable(count, offsetWidth);
}

void PropertyListReader::readTable(std::uint64_t count, std::size_t offsetWidth) {
  objects_.reserve(count);
  // A writer gives every object bytes of its own. Demanding it keeps whatever walks over all
  // objects linear in the length of the data.
  std::size_t unclaimed = end_ - kPropertyListMagic.size();
  for (std::size_t index = 0; index < count; ++index) {
    const std::uint64_t offset = unsignedAt(end_ + index * offsetWidth, offsetWidth);
    if (offset < kPropertyListMagic.size() || offset >= end_)
      refuse("an object lies outside the data");
    const Object object = objectAt(offset);
    const std::size_t size = object.headerSize + object.count * object.unit;
    if (size > unclaimed) refuse("objects overlap");
    unclaimed -= size;
    objects_.push_back(object);
  }
}

// The object that begins at `offset`. All of its content is known to lie within the data.
PropertyListReader::Object PropertyListReader::objectAt(std::size_t offset) const {
  const std::uint8_t lower = bytes_[offset] & 0x0FU;
  Object object{static_cast<Kind>(bytes_[offset] - lower), 1, 1, offset + 1, lower};
  switch (object.kind) {
    case Kind::Null:
      if (lower != 0 && lower != 8 && lower != 9) refuse(kUnknownKind);
      if (lower != 0) object.kind = Kind::Boolean;
      object.count = 0;
      break;
    case Kind::Integer:
      object.count = widthFrom(lower, 0, 4);
      break;
    case Kind::Real:
      object.count = widthFrom(lower, 2, 3);
      break;
    case Kind::Date:
      object.count = widthFrom(lower, 3, 3);
      break;
    case Kind::UID:
      if (lower >= kWidestInteger) refuse("an object has an impossible width");
      object.count = lower + std::size_t{1};
      break;
    case Kind::UTF16String:
      object.kind = Kind::String;
      object.unit = 2;
      [[fallthrough]];
    case Kind::Data:
    case Kind::String:
    case Kind::Array:
    case Kind::Set:
    case Kind::Dictionary:
      if (lower == 0x0F) object.count = longCount(object.start);
      break;
    default:
      refuse(kUnknownKind);
  }
  if (isContainer(object.kind)) object.unit = referenceWidth_;
  if (object.kind == Kind::Dictionary) object.unit *= 2;
  // Divided rather than multiplied: the count is the data's own number and may overflow.
  if (object.count > (end_ - object.start) / object.unit) refuse("an object is cut off");
  object.headerSize = static_cast<std::uint8_t>(object.start - offset);
  return object;
}

// Reads the integer object that stands at `start` for a count of fifteen and more.
std::size_t PropertyListReader::longCount(std::size_t& start) const {
  if (start >= end_) refuse("an object is cut off");
  const std::uint8_t marker = bytes_[start];
  const std::size_t width = std::size_t{1} << (marker & 0x0FU);
  if (marker >> 4 != 0x1 || width > kWidestInteger) refuse("a count is no integer");
  if (width > end_ - start - 1) refuse("an object is cut off");
  const std::uint64_t count = unsignedAt(start + 1, width);
  start += 1 + width;
  return count;
}

Value PropertyListReader::scalar(Reference reference) const {
  const Object& object = at(reference);
  switch (object.kind) {
    case Kind::Null:
      return {};
    case Kind::Data: {
      const auto bytes = bytes_.subspan(object.start, object.count);
      return Data(std::vector<std::uint8_t>(bytes.begin(), bytes.end()));
    }
    case Kind::String:
      return string(reference);
    case Kind::Boolean:
      return (bytes_[object.start - 1] & 1U) != 0;
    case Kind::Integer:
      return integer(object);
    case Kind::Real:
      if (object.count == 4) {
        return double{
            std::bit_cast<float>(static_cast<std::uint32_t>(unsignedAt(object.start, 4)))};
      }
      return std::bit_cast<double>(unsignedAt(object.start, 8));
    default:
      refuse(kUnexpectedKind);
  }
}

double PropertyListReader::date(Reference object) const {
  return std::bit_cast<double>(unsignedAt(at(object, Kind::Date).start, 8));
}

std::uint64_t PropertyListReader::UID(Reference object) const {
  const Object& uid = at(object, Kind::UID);
  return unsignedAt(uid.start, uid.count);
}

std::string PropertyListReader::string(Reference object) const {
  const Object& string = at(object, Kind::String);
  const auto content = bytes_.subspan(string.start, string.count * string.unit);
  if (string.unit == 2) {
    auto text = utf8FromUTF16BigEndian(content);
    if (!text) refuse("a text holds half a surrogate pair");
    return *std::move(text);
  }
  const std::string_view text(reinterpret_cast<const char*>(content.data()), content.size());
  if (!isASCII(text)) refuse("a text is not in its encoding");
  return std::string(text);
}

bool PropertyListReader::isString(Reference object, std::string_view ascii) const {
  const Object& string = at(object);
  if (string.kind != Kind::String || string.count != ascii.size()) return false;
  for (std::size_t i = 0; i < ascii.size(); ++i) {
    if (unsignedAt(string.start + i * string.unit, string.unit) !=
        static_cast<unsigned char>(ascii[i])) {
      return false;
    }
  }
  return true;
}

PropertyListReader::Reference PropertyListReader::element(Reference container,
                                                          std::size_t index) const {
  const Object& object = containerAt(container);
  return referenceAt(object, object.kind == Kind::Dictionary ? object.count + index : index);
}

PropertyListReader::Reference PropertyListReader::key(Reference dictionary,
                                                      std::size_t index) const {
  return referenceAt(at(dictionary, Kind::Dictionary), index);
}

std::vector<PropertyListReader::Reference> PropertyListReader::children(Reference object) const {
  const Object& container = at(object);
  if (!isContainer(container.kind)) return {};
  std::vector<Reference> found(container.count * container.unit / referenceWidth_);
  for (std::size_t index = 0; index < found.size(); ++index) {
    found[index] = referenceAt(container, index);
  }
  return found;
}

std::span<const std::uint8_t> PropertyListReader::encoded(Reference reference) const {
  const Object& object = at(reference);
  return bytes_.subspan(object.start - object.headerSize,
                        object.headerSize + object.count * object.unit);
}

std::optional<PropertyListReader::Reference> PropertyListReader::find(
    Reference dictionary, std::string_view ascii) const {
  const Object& entries = at(dictionary, Kind::Dictionary);
  for (std::size_t index = 0; index < entries.count; ++index) {
    if (isString(key(dictionary, index), ascii)) return element(dictionary, index);
  }
  return std::nullopt;
}

const PropertyListReader::Object& PropertyListReader::at(Reference object) const {
  if (object >= objects_.size()) refuse("a reference leaves the table");
  return objects_[object];
}

const PropertyListReader::Object& PropertyListReader::at(Reference object, Kind kind) const {
  const Object& found = at(object);
  if (found.kind != kind) refuse(kUnexpectedKind);
  return found;
}

const PropertyListReader::Object& PropertyListReader::containerAt(Reference object) const {
  const Object& found = at(object);
  if (!isContainer(found.kind)) refuse(kUnexpectedKind);
  return found;
}

Value PropertyListReader::integer(const Object& object) const {
  // One, two and four bytes are unsigned, eight and sixteen signed.
  if (object.count < 8) return unsignedAt(object.start, object.count);
  if (object.count == 8) return static_cast<std::int64_t>(unsignedAt(object.start, 8));
  const std::uint64_t high = unsignedAt(object.start, 8);
  const std::uint64_t low = unsignedAt(object.start + 8, 8);
  if (high == 0) return low;
  const auto negative = static_cast<std::int64_t>(low);
  if (high != ~std::uint64_t{0} || negative >= 0) refuse("an integer is beyond 64 bits");
  return negative;
}

PropertyListReader::Reference PropertyListReader::referenceAt(const Object& container,
                                                              std::size_t index) const {
  const std::uint64_t reference =
      unsignedAt(container.start + index * referenceWidth_, referenceWidth_);
  if (reference >= objects_.size()) refuse("a reference leaves the table");
  return static_cast<Reference>(reference);
}

std::uint64_t PropertyListReader::unsignedAt(std::size_t offset, std::size_t width) const {
  std::uint64_t integer = 0;
  for (std::size_t i = 0; i < width; ++i) integer = integer << 8 | bytes_[offset + i];
  return integer;
}

}  // namespace orx::platform
