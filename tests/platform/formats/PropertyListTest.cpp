// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <cmath>

#include "platform/formats/PropertyList.h"

namespace orx {

using namespace platform;
namespace {

using Bytes = std::vector<std::uint8_t>;
using Kind = PropertyListReader::Kind;

void append(Bytes& bytes, std::uint64_t integer, std::size_t width) {
  for (std::size_t i = width; i > 0; --i) {
    bytes.push_back(i > 8 ? 0 : static_cast<std::uint8_t>(integer >> (8 * (i - 1))));
  }
}

struct Trailer {
  std::size_t offsetWidth = 1;
  std::size_t referenceWidth = 1;
  std::optional<std::uint64_t> count{};
  std::uint64_t top = 0;
  std::optional<std::uint64_t> table{};
};

// A property list of these objects, one after the other.
Bytes listOf(const std::vector<Bytes>& objects, const Trailer& trailer = {}) {
  Bytes bytes{'b', 'p', 'l', 'i', 's', 't', '0', '0'};
  std::vector<std::size_t> offsets;
  for (const Bytes& object : objects) {
    offsets.push_back(bytes.size());
    bytes.insert(bytes.end(), object.begin(), object.end());
  }
  const std::size_t table = bytes.size();
  for (const std::size_t offset : offsets) append(bytes, offset, trailer.offsetWidth);
  append(bytes, 0, 6);
  append(bytes, trailer.offsetWidth, 1);
  append(bytes, trailer.referenceWidth, 1);
  append(bytes, trailer.count.value_or(objects.size()), 8);
  append(bytes, trailer.top, 8);
  append(bytes, trailer.table.value_or(table), 8);
  return bytes;
}

Value scalarOf(const Bytes& object) {
  const Bytes bytes = listOf({object});
  return PropertyListReader(bytes).scalar(0);
}

std::string stringOf(const Bytes& object) {
  const Bytes bytes = listOf({object});
  return PropertyListReader(bytes).string(0);
}

void expectMalformed(const Bytes& bytes) {
  EXPECT_THROW(PropertyListReader{bytes}, MalformedPropertyList);
}

TEST(PropertyListReader, ReadsIntegersOfEveryWidth) {
  EXPECT_EQ(scalarOf({0x10, 0xFF}), Value(255));
  EXPECT_EQ(scalarOf({0x11, 0xFF, 0xFE}), Value(65534));
  EXPECT_EQ(scalarOf({0x12, 0xFF, 0xFF, 0xFF, 0xFF}), Value(4294967295U));
  EXPECT_EQ(scalarOf({0x13, 0x80, 0, 0, 0, 0, 0, 0, 0}), Value(INT64_MIN));
  EXPECT_EQ(scalarOf({0x13, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFB}), Value(-5));
}

TEST(PropertyListReader, ReadsIntegersOfSixteenBytesThatFitIntoEight) {
  Bytes largest{0x14};
  append(largest, 0, 8);
  append(largest, UINT64_MAX, 8);
  EXPECT_EQ(scalarOf(largest), Value(UINT64_MAX));
  Bytes negative{0x14};
  append(negative, UINT64_MAX, 8);
  append(negative, static_cast<std::uint64_t>(-5), 8);
  EXPECT_EQ(scalarOf(negative), Value(-5));
  for (const std::uint64_t high : {std::uint64_t{1}, UINT64_MAX, std::uint64_t{1} << 63}) {
    Bytes beyond{0x14};
    append(beyond, high, 8);
    append(beyond, 5, 8);
    EXPECT_THROW(scalarOf(beyond), MalformedPropertyList);
  }
}

TEST(PropertyListReader, ReadsRealsOfBothWidths) {
  EXPECT_EQ(scalarOf({0x22, 0x3F, 0xC0, 0, 0}), Value(1.5));
  EXPECT_EQ(scalarOf({0x23, 0x3F, 0xF8, 0, 0, 0, 0, 0, 0}), Value(1.5));
  EXPECT_TRUE(std::isnan(*scalarOf({0x22, 0x7F, 0xC0, 0, 0}).number()));
}

TEST(PropertyListReader, ReadsBooleans) {
  EXPECT_EQ(scalarOf({0x08}), Value(false));
  EXPECT_EQ(scalarOf({0x09}), Value(true));
}

TEST(PropertyListReader, ReadsADate) {
  const Bytes bytes = listOf({{0x33, 0xBF, 0xF8, 0, 0, 0, 0, 0, 0}});
  EXPECT_EQ(PropertyListReader(bytes).date(0), -1.5);
}

TEST(PropertyListReader, ReadsTextOfBothEncodings) {
  EXPECT_EQ(stringOf({0x50}), "");
  EXPECT_EQ(stringOf({0x60}), "");
  EXPECT_EQ(stringOf({0x52, 'a', 0}), std::string("a\0", 2));
  EXPECT_EQ(stringOf({0x63, 0xD8, 0x3D, 0xDE, 0x00, 0x00, 0xE9}), "\U0001f600\u00e9");
  EXPECT_EQ(stringOf({0x5F, 0x11, 0x00, 0x02, 'a', 'b'}), "ab");
}

TEST(PropertyListReader, RefusesTextThatIsNotInItsEncoding) {
  EXPECT_THROW(stringOf({0x51, 0x80}), MalformedPropertyList);
  EXPECT_THROW(stringOf({0x61, 0xD8, 0x3D}), MalformedPropertyList);
  EXPECT_THROW(stringOf({0x62, 0xDE, 0x00, 0xD8, 0x3D}), MalformedPropertyList);
}

TEST(PropertyListReader, ReadsUIDsOfEveryWidthUpToEight) {
  for (std::size_t width = 1; width <= 8; ++width) {
    Bytes uid{static_cast<std::uint8_t>(0x80 | (width - 1))};
    append(uid, 200, width);
    const Bytes bytes = listOf({uid});
    EXPECT_EQ(PropertyListReader(bytes).UID(0), 200U);
  }
  Bytes wide{0x88};
  append(wide, 0, 9);
  expectMalformed(listOf({wide}));
}

TEST(PropertyListReader, ReadsReferencesAndOffsetsOfEveryWidth) {
  for (std::size_t width = 1; width <= 8; ++width) {
    Bytes array{0xA2};
    append(array, 1, width);
    append(array, 2, width);
    Bytes dictionary{0xD1};
    append(dictionary, 1, width);
    append(dictionary, 0, width);
    Bytes set{0xC1};
    append(set, 1, width);
    const Bytes bytes = listOf({array, {0x51, 'k'}, dictionary, set},
                               {.offsetWidth = width, .referenceWidth = width});
    const PropertyListReader reader(bytes);
    EXPECT_EQ(reader.count(0), 2U);
    EXPECT_EQ(reader.element(0, 1), 2U);
    EXPECT_EQ(reader.key(2, 0), 1U);
    EXPECT_EQ(reader.element(2, 0), 0U);
    EXPECT_EQ(reader.find(2, "k"), 0U);
    EXPECT_EQ(reader.find(2, "other"), std::nullopt);
    EXPECT_EQ(reader.kind(3), Kind::Set);
    EXPECT_EQ(reader.element(3, 0), 1U);
  }
}

TEST(PropertyListReader, ReadsEveryScalar) {
  EXPECT_EQ(scalarOf({0x00}), Value());
  EXPECT_EQ(scalarOf({0x09}), Value(true));
  EXPECT_EQ(scalarOf({0x51, 'k'}), Value("k"));
  EXPECT_EQ(scalarOf({0x42, 1, 0xFF}), Value(Data(Bytes{1, 0xFF})));
}

TEST(PropertyListWriter, RefusesWhatIsNoScalar) {
  PropertyListWriter writer;
  EXPECT_THROW(writer.addScalar(Array{}), std::invalid_argument);
  EXPECT_THROW(writer.addScalar(std::make_shared<Object>()), std::invalid_argument);
  EXPECT_THROW(writer.addScalar("\xFF"), std::invalid_argument);
}

TEST(PropertyListReader, FindsAKeyInEitherEncoding) {
  const Bytes bytes = listOf({{0xD1, 1, 0}, {0x61, 0, 'k'}});
  EXPECT_EQ(PropertyListReader(bytes).find(0, "k"), 0U);
}

TEST(PropertyListReader, RefusesAnObjectOfAnotherKindThanAskedFor) {
  const Bytes bytes = listOf({{0x10, 1}, {0x51, 'k'}, {0xA0}});
  const PropertyListReader reader(bytes);
  EXPECT_THROW(reader.string(0), MalformedPropertyList);
  EXPECT_THROW(reader.UID(0), MalformedPropertyList);
  EXPECT_THROW(reader.date(1), MalformedPropertyList);
  EXPECT_THROW(reader.scalar(2), MalformedPropertyList);
  EXPECT_THROW(reader.count(1), MalformedPropertyList);
  EXPECT_THROW(reader.key(2, 0), MalformedPropertyList);
  EXPECT_THROW(reader.find(2, "k"), MalformedPropertyList);
}

TEST(PropertyListReader, RefusesReferencesThatLeaveTheTable) {
  const Bytes bytes = listOf({{0xA1, 1}});
  const PropertyListReader reader(bytes);
  EXPECT_THROW(reader.element(0, 0), MalformedPropertyList);
  EXPECT_THROW(reader.kind(1), MalformedPropertyList);
}

TEST(PropertyListReader, RefusesATrailerWhoseNumbersDoNotFit) {
  const Bytes object{0x10, 1};
  const auto huge = {std::uint64_t{1} << 32, std::uint64_t{1} << 61, UINT64_MAX};
  for (const std::uint64_t number : huge) {
    expectMalformed(listOf({object}, {.count = number}));
    expectMalformed(listOf({object}, {.top = number}));
    expectMalformed(listOf({object}, {.table = number}));
    expectMalformed(listOf({object}, {.offsetWidth = 8, .count = number}));
  }
  expectMalformed(listOf({object}, {.count = 0}));
  expectMalformed(listOf({object}, {.count = 2}));
  expectMalformed(listOf({object}, {.top = 1}));
  expectMalformed(listOf({object}, {.table = 7}));
  expectMalformed(listOf({object}, {.table = 12}));
  expectMalformed(listOf({object}, {.offsetWidth = 0}));
  expectMalformed(listOf({object}, {.offsetWidth = 9}));
  expectMalformed(listOf({object}, {.referenceWidth = 0}));
  expectMalformed(listOf({object}, {.referenceWidth = 255}));
}

TEST(PropertyListReader, RefusesObjectsThatAreCutOffOrOfNoKnownKind) {
  for (const Bytes& object :
       std::vector<Bytes>{{0x11, 1},
                          {0x14, 1},
                          {0x52, 'a'},
                          {0x62, 0, 'a', 0},
                          {0x42, 1},
                          {0xA2, 0},
                          {0xD1, 0},
                          {0x5F},
                          {0x5F, 0x10},
                          {0x5F, 0x51, 1},
                          {0x5F, 0x14, 0, 0, 0, 0, 0, 0, 0, 0, 0},
                          {0xAF, 0x13, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF},
                          {0xDF, 0x13, 0x80, 0, 0, 0, 0, 0, 0, 0},
                          {0x15, 0},
                          {0x1F, 0},
                          {0x20, 0},
                          {0x24, 0},
                          {0x32, 0, 0, 0, 0},
                          {0x01},
                          {0x0F},
                          {0x70},
                          {0x90},
                          {0xB0},
                          {0xE0},
                          {0xF0}}) {
    expectMalformed(listOf({object}));
  }
}

TEST(PropertyListReader, RefusesObjectsThatShareBytes) {
  // Two objects of ten bytes in twelve: the second offset points at the first object.
  Bytes bytes = listOf({Bytes{0x49, 1, 2, 3, 4, 5, 6, 7, 8, 9}, Bytes{0x10, 1}});
  EXPECT_NO_THROW(PropertyListReader{bytes});
  const std::size_t table = 8 + 12;
  bytes[table + 1] = bytes[table];
  expectMalformed(bytes);
}

TEST(PropertyListReader, RefusesOffsetsOutsideTheObjects) {
  for (const std::uint8_t offset : {0, 7, 10, 11, 255}) {
    Bytes bytes = listOf({{0x10, 1}});
    bytes[10] = offset;
    expectMalformed(bytes);
  }
}

TEST(PropertyListWriter, UsesWiderReferencesAndOffsetsAsTheListGrows) {
  for (const std::size_t count : {1U, 254U, 255U, 256U, 65534U, 65535U, 65536U}) {
    PropertyListWriter writer;
    std::vector<PropertyListWriter::Reference> elements;
    elements.reserve(count);
    for (std::size_t i = 0; i < count; ++i) elements.push_back(writer.addScalar(i));
    const Data data = writer.finish(writer.addArray(elements));
    const PropertyListReader reader(data.bytes());
    ASSERT_EQ(reader.count(reader.top()), count);
    EXPECT_EQ(reader.scalar(reader.element(reader.top(), count - 1)), Value(count - 1));
  }
}

TEST(PropertyListWriter, CopiesWhatTheRootsReachAndNothingElse) {
  // A dictionary of an array that holds itself and the dictionary's key; a text that nobody holds.
  const Bytes bytes = listOf({{0x51, 'x'}, {0xD1, 3, 2}, {0xA2, 2, 3}, {0x51, 'k'}});
  const PropertyListReader source(bytes);
  PropertyListWriter writer;
  // So that no object has the number in the copy that it has in the source.
  for (const std::string_view text : {"a", "b", "c"}) writer.addString(text);
  const PropertyListWriter::Reference root = 1;
  const auto copies = writer.addObjects(source, {&root, 1});
  const Data data = writer.finish(copies[root]);
  const PropertyListReader reader(data.bytes());
  EXPECT_EQ(reader.size(), 6U);
  const auto array = reader.find(reader.top(), "k");
  ASSERT_TRUE(array);
  ASSERT_EQ(reader.count(*array), 2U);
  EXPECT_EQ(reader.element(*array, 0), *array);
  EXPECT_EQ(reader.scalar(reader.element(*array, 1)), Value("k"));
}

TEST(PropertyListWriter, TakesReferencesToObjectsThatComeLater) {
  PropertyListWriter writer;
  const PropertyListWriter::Reference later = 1;
  const auto array = writer.addArray({&later, 1});
  writer.addScalar(2.5);
  const Data data = writer.finish(array);
  const PropertyListReader reader(data.bytes());
  EXPECT_EQ(reader.scalar(reader.element(reader.top(), 0)), Value(2.5));
}

}  // namespace
}  // namespace orx
