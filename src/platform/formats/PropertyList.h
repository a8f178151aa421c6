// SPDX-License-Identifier: MIT
#pragma once

#include <ORXAccount/platform/Data.h>
#include <ORXAccount/platform/Value.h>

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

// Binary property lists ("bplist00") over a flat table of objects. References between objects stay
// indices on both sides: nothing recurses and nothing is expanded.
namespace orx::platform {

inline constexpr std::string_view kPropertyListMagic = "bplist00";

// The bytes are no binary property list, or one of another form than was asked for. what() says
// why.
class MalformedPropertyList final : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// What an object of a list is. Each number is the marker byte that such an object begins with; the
// marker's lower bits add a count or a width. Containers have the highest numbers.
enum class PropertyListKind : std::uint8_t {
  Null = 0x00,
  Boolean = 0x08,
  Integer = 0x10,
  Real = 0x20,
  Date = 0x30,
  Data = 0x40,
  String = 0x50,
  UTF16String = 0x60,  // only as a marker: a reader says String for both
  UID = 0x80,
  Array = 0xA0,
  Set = 0xC0,
  Dictionary = 0xD0
};

class PropertyListReader {
 public:
  // The place of an object in the table.
  using Reference = std::uint32_t;
  using Kind = PropertyListKind;

  // Reads the table; objects are decoded when they are asked for. `bytes` must outlive the reader.
  // Every operation throws MalformedPropertyList for bytes that are none, for an object of another
  // kind than the operation is for, and for a reference that leaves the table.
  explicit PropertyListReader(std::span<const std::uint8_t> bytes);

  // Objects of the table; every smaller number is a reference to one.
  std::size_t size() const { return objects_.size(); }
  Reference top() const { return top_; }
  Kind kind(Reference object) const { return at(object).kind; }
  // Whether objects of this kind refer to others.
  static constexpr bool isContainer(Kind kind) { return kind >= Kind::Array; }

  // Of a Null, Boolean, Integer, Real, String or Data.
  Value scalar(Reference object) const;
  // Seconds since 2001-01-01T00:00:00 UTC.
  double date(Reference object) const;
  std::uint64_t UID(Reference object) const;
  // As UTF-8.
  std::string string(Reference object) const;
  // True for a String that is exactly this ASCII text; takes no longer than `ascii` is.
  bool isString(Reference object, std::string_view ascii) const;

  // Elements of an Array or Set, entries of a Dictionary.
  std::size_t count(Reference container) const { return containerAt(container).count; }
  // The element, or the value of the entry, at `index` below count().
  Reference element(Reference container, std::size_t index) const;
  // The key of the entry at `index` below count().
  Reference key(Reference dictionary, std::size_t index) const;
  // What an Array, Set or Dictionary refers to, a Dictionary's keys before its values; nothing for
  // every other object.
  std::vector<Reference> children(Reference object) const;
  // The bytes of an object that refers to no other, as they stand in the list.
  std::span<const std::uint8_t> encoded(Reference object) const;
  // The value of the first entry under this ASCII key.
  std::optional<Reference> find(Reference dictionary, std::string_view ascii) const;

 private:
  struct Object {
    Kind kind;
    std::uint8_t unit;        // bytes of content for each of `count`
    std::uint8_t headerSize;  // bytes before the content: the marker, and a count of 15 and more
    std::size_t start;        // of the content, in bytes from the beginning
    std::size_t count;        // bytes, UTF-16 units, elements or entries
  };

  void readTable(std::uint64_t count, std::size_t offsetWidth);
  Object objectAt(std::size_t offset) const;
  std::size_t longCount(std::size_t& start) const;
  const Object& at(Reference object) const;
  const Object& at(Reference object, Kind kind) const;
  const Object& containerAt(Reference object) const;
  Value integer(const Object& object) const;
  Reference referenceAt(const Object& container, std::size_t index) const;
  std::uint64_t unsignedAt(std::size_t offset, std::size_t width) const;

  std::span<const std::uint8_t> bytes_;
  std::size_t end_ = 0;  // of the objects, where the offset table begins
  std::uint8_t referenceWidth_ = 0;
  Reference top_ = 0;
  std::vector<Object> objects_;
};

class PropertyListWriter {
 public:
  using Reference = PropertyListReader::Reference;
  using Kind = PropertyListKind;

  PropertyListWriter();

  // A null, boolean, integer, double, string or data. Throws std::invalid_argument for every other
  // kind, and for text that is not UTF-8.
  Reference addScalar(const Value& value);
  Reference addUID(std::uint32_t uid);
  // Equal texts give the same object. Throws std::invalid_argument for text that is not UTF-8.
  Reference addString(std::string_view text);
  // Gives an object of its own, even where there is one with equal text.
  Reference addAnotherString(std::string_view text);
  // The object that addString() would give; absent where it would make one.
  std::optional<Reference> findString(std::string_view text) const;
  // The elements of an Array or Set, or a Dictionary's keys and then as many values. References may
  // name objects that are added later.
  Reference addContainer(Kind kind, std::span<const Reference> references);
  Reference addArray(std::span<const Reference> elements) {
    return addContainer(Kind::Array, elements);
  }
  // As many keys, which are strings, as values.
  Reference addDictionary(std::span<const Reference> keys, std::span<const Reference> values);

  // Copies the objects that `roots` reach from another list, unchanged and in their order there.
  // Gives the copy's reference for every object of the source; the ones of objects that were not
  // reached mean nothing. Linear in the length of the source, whatever it refers to: objects that
  // are shared stay shared, and one that contains itself does so in the copy.
  std::vector<Reference> addObjects(const PropertyListReader& source,
                                    std::span<const Reference> roots);

  // Bytes that the list will have at least.
  std::size_t leastSize() const { return bytes_.size(); }

  // The property list whose root is `top`. Called once, as the last operation.
  Data finish(Reference top);

 private:
  struct Container {
    Reference object;
    Kind kind;
    std::vector<Reference> references;
  };

  Reference beginObject();
  void append(std::span<const std::uint8_t> bytes);
  void appendMarker(Kind kind, std::size_t lowerBits);
  void appendCounted(Kind kind, std::size_t count);
  void appendUnsigned(std::uint64_t integer, std::size_t width);
  void appendShortest(std::uint64_t integer);
  void appendInteger(const Value& integer);

  std::vector<std::uint8_t> bytes_;
  std::vector<std::size_t> offsets_;
  // Written last: only then is it known how wide a reference has to be.
  std::vector<Container> containers_;
  // Ordered rather than hashed: texts come from outside, and no choice of them makes this slow.
  std::map<std::string, Reference, std::less<>> strings_;
};

}  // namespace orx::platform
