#include <algorithm>
#include <bit>

#include "platform/base/Limits.h"
#include "platform/base/Unicode.h"
#include "platform/formats/PropertyList.h"

namespace orx::platform {

namespace {

constexpr std::string_view kMagic = "bplist00";
constexpr std::size_t kTrailerSize = 32;
constexpr std::size_t kWidestInteger = 8;

[[noreturn]] void refuse(const char* reason) { throw MalformedPropertyList(reason); }

}  // namespace

PropertyListReader::PropertyListReader(std::span<const std::uint8_t> bytes) : bytes_(bytes) {
  if (bytes.size() < kMagic.size() + kTrailerSize ||
      !std::equal(kMagic.begin(), kMagic.end(), bytes.begin())) {
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
  if (table < kMagic.size() || table > trailer || count > (trailer - table) / offsetWidth) {
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
  std::size_t unclaimed = end_ - kMagic.size();
  for (std::size_t index = 0; index < count; ++index) {
    const std::uint64_t offset = unsignedAt(end_ + index * offsetWidth, offsetWidth);
    if (offset < kMagic.size() || offset >= end_) refuse("an object lies outside the data");
    Object object = objectAt(offset);
    object.headerSize = static_cast<std::uint8_t>(object.start - offset);
    const std::size_t size = object.headerSize + contentSize(object);
    if (size > unclaimed) refuse("objects overlap");
    unclaimed -= size;
    objects_.push_back(object);
  }
}

PropertyListReader::Object PropertyListReader::objectAt(std::size_t offset) const {
  const std::uint8_t low = bytes_[offset] & 0x0FU;
  Object object{Kind::Null, false, 1, offset + 1, low};
  const auto counted = [&](Kind kind, bool wide = false) {
    object.kind = kind;
    object.wide = wide;
    if (low == 0x0F) object.count = longCount(object.start);
  };
  const auto fixed = [&](Kind kind, std::size_t width, bool valid) {
    if (!valid) refuse("an object has an impossible width");
    object.kind = kind;
    object.count = width;
  };
  switch (bytes_[offset] >> 4) {
    case 0x0:
      if (low != 0 && low != 8 && low != 9) refuse("an object is of an unknown kind");
      fixed(low == 0 ? Kind::Null : Kind::Boolean, 0, true);
      break;
    case 0x1:
      fixed(Kind::Integer, std::size_t{1} << low, low <= 4);
      break;
    case 0x2:
      fixed(Kind::Real, std::size_t{1} << low, low == 2 || low == 3);
      break;
    case 0x3:
      fixed(Kind::Date, 8, low == 3);
      break;
    case 0x4:
      counted(Kind::Data);
      break;
    case 0x5:
      counted(Kind::String);
      break;
    case 0x6:
      counted(Kind::String, true);
      break;
    case 0x8:
      fixed(Kind::UID, low + std::size_t{1}, low < kWidestInteger);
      break;
    case 0xA:
      counted(Kind::Array);
      break;
    case 0xC:
      counted(Kind::Set);
      break;
    case 0xD:
      counted(Kind::Dictionary);
      break;
    default:
      refuse("an object is of an unknown kind");
  }
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

// The length of an object's content in bytes, which is known to lie within the data.
std::size_t PropertyListReader::contentSize(const Object& object) const {
  std::size_t unit = 1;
  if (object.kind == Kind::String && object.wide) unit = 2;
  if (object.kind == Kind::Array || object.kind == Kind::Set) unit = referenceWidth_;
  if (object.kind == Kind::Dictionary) unit = 2 * referenceWidth_;
  if (object.count > (end_ - object.start) / unit) refuse("an object is cut off");
  return object.count * unit;
}

Value PropertyListReader::scalar(Reference reference) const {
  const Object& object = at(reference);
  switch (object.kind) {
    case Kind::Null:
      return {};
    case Kind::Data: {
      const auto bytes = data(reference);
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
      refuse("an object is not of the expected kind");
  }
}

double PropertyListReader::date(Reference object) const {
  return std::bit_cast<double>(unsignedAt(at(object, Kind::Date).start, 8));
}

std::span<const std::uint8_t> PropertyListReader::data(Reference object) const {
  const Object& data = at(object, Kind::Data);
  return bytes_.subspan(data.start, data.count);
}

std::uint64_t PropertyListReader::UID(Reference object) const {
  const Object& uid = at(object, Kind::UID);
  return unsignedAt(uid.start, uid.count);
}

std::string PropertyListReader::string(Reference object) const {
  const Object& string = at(object, Kind::String);
  if (string.wide) {
    auto text = utf8FromUTF16BigEndian(bytes_.subspan(string.start, 2 * string.count));
    if (!text) refuse("a text holds half a surrogate pair");
    return *std::move(text);
  }
  const auto ascii = bytes_.subspan(string.start, string.count);
  if (std::ranges::any_of(ascii, [](std::uint8_t byte) { return byte >= 0x80; })) {
    refuse("a text is not in its encoding");
  }
  return {ascii.begin(), ascii.end()};
}

bool PropertyListReader::isString(Reference object, std::string_view ascii) const {
  const Object& string = at(object);
  if (string.kind != Kind::String || string.count != ascii.size()) return false;
  const std::size_t unit = string.wide ? 2 : 1;
  for (std::size_t i = 0; i < ascii.size(); ++i) {
    if (unsignedAt(string.start + i * unit, unit) != static_cast<unsigned char>(ascii[i])) {
      return false;
    }
  }
  return true;
}

std::size_t PropertyListReader::count(Reference container) const {
  const Object& object = at(container);
  if (object.kind != Kind::Array && object.kind != Kind::Set && object.kind != Kind::Dictionary) {
    refuse("an object is not of the expected kind");
  }
  return object.count;
}

PropertyListReader::Reference PropertyListReader::element(Reference container,
                                                          std::size_t index) const {
  const std::size_t elements = count(container);
  const Object& object = at(container);
  return referenceAt(object, object.kind == Kind::Dictionary ? elements + index : index);
}

PropertyListReader::Reference PropertyListReader::key(Reference dictionary,
                                                      std::size_t index) const {
  return referenceAt(at(dictionary, Kind::Dictionary), index);
}

std::vector<PropertyListReader::Reference> PropertyListReader::children(Reference object) const {
  const Object& container = at(object);
  std::size_t count = 0;
  if (container.kind == Kind::Array || container.kind == Kind::Set) count = container.count;
  if (container.kind == Kind::Dictionary) count = 2 * container.count;
  std::vector<Reference> found(count);
  for (std::size_t index = 0; index < count; ++index) found[index] = referenceAt(container, index);
  return found;
}

std::span<const std::uint8_t> PropertyListReader::encoded(Reference reference) const {
  const Object& object = at(reference);
  return bytes_.subspan(object.start - object.headerSize, object.headerSize + contentSize(object));
}

std::optional<PropertyListReader::Reference> PropertyListReader::find(
    Reference dictionary, std::string_view ascii) const {
  const std::size_t entries = at(dictionary, Kind::Dictionary).count;
  for (std::size_t index = 0; index < entries; ++index) {
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
  if (found.kind != kind) refuse("an object is not of the expected kind");
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
