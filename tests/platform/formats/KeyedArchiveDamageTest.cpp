// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include "platform/base/Limits.h"
#include "platform/formats/ArchiveBuilder.h"
#include "platform/formats/ArchiveValues.h"
#include "platform/formats/Canonical.h"
#include "platform/formats/KeyedArchiver.h"
#include "platform/formats/KeyedUnarchiver.h"

namespace orx::testing {

using namespace platform;
namespace {

using UID = ArchiveBuilder::UID;

void expectRefusal(const Data& data, std::string_view reason) {
  const auto reading = unarchiveObjectWithData(data);
  ASSERT_FALSE(reading);
  EXPECT_EQ(reading.error()->code(), NSCoderReadCorruptError);
  EXPECT_NE(reading.error()->localizedDescription().find(reason), std::string::npos)
      << reading.error()->localizedDescription();
}

// Either a value that can be walked and archived again, or an error.
void expectValueOrError(const Data& data) {
  const auto reading = unarchiveObjectWithData(data);
  if (!reading) {
    EXPECT_EQ(reading.error()->domain(), NSCocoaErrorDomain);
    EXPECT_EQ(reading.error()->code(), NSCoderReadCorruptError);
  } else {
    EXPECT_NO_THROW(archivedDataWithRootObject(*reading));
  }
}

Data profileArchive() {
  return archivedDataWithRootObject(
      Dictionary{{"login", "someone@example.com"},
                 {"nick_name", "\u738b \U0001f600"},
                 {"cus_id", 12345678901},
                 {"score", 0.5},
                 {"active", true},
                 {"nothing", nullptr},
                 {"list", Array{1, "CHN", Dictionary{{"country", "CHN"}}}},
                 {"bytes", Data("\x01\x02")}});
}

TEST(KeyedUnarchiver, RefusesAnArchiveThatIsCutOffAnywhere) {
  const Data whole = profileArchive();
  for (std::size_t size = 0; size < whole.size(); ++size) {
    expectRefusal(Data(whole.text().substr(0, size)), "cannot be read");
  }
}

TEST(KeyedUnarchiver, GivesAValueOrAnErrorWhicheverBitIsFlipped) {
  const Data whole = profileArchive();
  for (std::size_t position = 0; position < whole.size(); ++position) {
    for (int bit = 0; bit < 8; ++bit) {
      std::string bytes(whole.text());
      bytes[position] = static_cast<char>(bytes[position] ^ 1 << bit);
      expectValueOrError(Data(bytes));
    }
  }
}

TEST(KeyedUnarchiver, GivesAValueOrAnErrorWhicheverByteIsReplaced) {
  const Data whole = profileArchive();
  for (std::size_t position = 0; position < whole.size(); ++position) {
    // The ends of a number, and markers of every kind with the shortest and the longest count.
    for (const int byte :
         {0x00, 0x0F, 0x13, 0x14, 0x33, 0x4F, 0x5F, 0x6F, 0x80, 0xA0, 0xAF, 0xD1, 0xDF, 0xFF}) {
      std::string bytes(whole.text());
      bytes[position] = static_cast<char>(byte);
      expectValueOrError(Data(bytes));
    }
  }
}

TEST(KeyedUnarchiver, GivesAValueOrAnErrorWhicheverByteIsMissing) {
  const Data whole = profileArchive();
  for (std::size_t position = 0; position < whole.size(); ++position) {
    std::string bytes(whole.text());
    bytes.erase(position, 1);
    expectValueOrError(Data(bytes));
  }
}

TEST(KeyedUnarchiver, RefusesObjectsThatContainThemselves) {
  ArchiveBuilder direct;
  expectRefusal(direct.finish(direct.addArray({direct.next()})), "contains itself");
  ArchiveBuilder indirect;
  const UID first = indirect.next();
  indirect.addArray({first + 1});
  indirect.addDictionary({first + 2}, {first});
  indirect.add("key");
  expectRefusal(indirect.finish(first), "contains itself");
  ArchiveBuilder key;
  const UID text = key.add("value");
  expectRefusal(key.finish(key.addDictionary({key.next()}, {text})), "contains itself");
}

TEST(KeyedUnarchiver, IgnoresACycleThatTheRootDoesNotReach) {
  ArchiveBuilder builder;
  builder.addArray({builder.next()});
  const auto reading = unarchiveObjectWithData(builder.finish(builder.add("text")));
  EXPECT_EQ(reading.value(), Value("text"));
}

TEST(KeyedUnarchiver, RefusesReferencesThatFanOutTooFar) {
  ArchiveBuilder builder;
  UID uid = builder.add("lol");
  for (int level = 0; level < 60; ++level) uid = builder.addArray({uid, uid, uid, uid});
  expectRefusal(builder.finish(uid), "fan out");
}

TEST(KeyedUnarchiver, RefusesALongTextThatIsReferredToVeryOften) {
  ArchiveBuilder builder;
  const UID text = builder.add(std::string(100000, 'x'));
  const UID root = builder.addArray(std::vector<UID>(10000, text));
  expectRefusal(builder.finish(root), "fan out");
}

TEST(KeyedUnarchiver, RefusesManyPlacesThatHoldOneLongText) {
  ArchiveBuilder builder;
  const UID text = builder.add(std::string(100000, 'x'));
  std::vector<UID> places{text};
  for (int i = 0; i < 10000; ++i) places.push_back(builder.addAgain(text));
  expectRefusal(builder.finish(builder.addArray(places)), "fan out");
}

TEST(KeyedUnarchiver, RefusesManyPlacesThatHoldOneLongList) {
  ArchiveBuilder builder;
  const UID list = builder.addArray(std::vector<UID>(10000, 0));
  std::vector<UID> places{list};
  for (int i = 0; i < 10000; ++i) places.push_back(builder.addAgain(list));
  expectRefusal(builder.finish(builder.addArray(places)), "fan out");
}

// The places are nested, so that none is whole and has a weight before the cycle at their bottom.
TEST(KeyedUnarchiver, RefusesOneLongListAtManyPlacesBeforeItHasReadThemAll) {
  ArchiveBuilder builder;
  const UID list = builder.addArray(std::vector<UID>(20'000, 0));
  UID uid = builder.addArray({builder.next()});
  for (int level = 0; level < 300; ++level) uid = builder.addArray({builder.addAgain(list), uid});
  expectRefusal(builder.finish(uid), "fan out");
}

TEST(KeyedUnarchiver, RefusesManyClassesThatHaveOneLongDescription) {
  ArchiveBuilder builder;
  const UID description = builder.addClass("NSNull", 4'000);
  std::vector<UID> objects(2'000);
  for (UID& object : objects) object = builder.addObject(builder.addAgain(description));
  expectRefusal(builder.finish(builder.addArray(objects)), "fan out");
}

// The archive is a little longer than the text; it may give four times its bytes and 4 MiB more.
// The text counts once for each reference.
TEST(KeyedUnarchiver, TakesATextOfAMegabyteEightTimesAndNotNine) {
  const auto archiveWith = [](std::size_t references) {
    ArchiveBuilder builder;
    const UID text = builder.add(std::string(std::size_t{1} << 20U, 'x'));
    return builder.finish(builder.addArray(std::vector<UID>(references, text)));
  };
  const auto reading = unarchiveObjectWithData(archiveWith(8));
  ASSERT_TRUE(reading) << reading.error()->localizedDescription();
  EXPECT_EQ(reading->array()->size(), 8U);
  expectRefusal(archiveWith(9), "fan out");
}

TEST(KeyedUnarchiver, TakesReferencesThatFanOutModestly) {
  ArchiveBuilder builder;
  UID uid = builder.add("text");
  for (int level = 0; level < 16; ++level) uid = builder.addArray({uid, uid});
  const auto reading = unarchiveObjectWithData(builder.finish(uid));
  ASSERT_TRUE(reading);
  const Value* value = &*reading;
  for (int level = 0; level < 16; ++level) {
    ASSERT_NE(value->array(), nullptr);
    ASSERT_EQ(value->array()->size(), 2U);
    value = &(*value->array())[1];
  }
  EXPECT_EQ(*value, Value("text"));
}

// The shallow part of the list is restored first; the deep part then goes on from its memory.
Data archiveWithTwoWays(std::size_t depth) {
  ArchiveBuilder builder;
  std::vector<UID> levels{builder.addArray({})};
  while (levels.size() < depth - 1) levels.push_back(builder.addArray({levels.back()}));
  return builder.finish(builder.addArray({levels[depth / 2], levels.back()}));
}

TEST(KeyedUnarchiver, CountsDepthAlongTheLongestWay) {
  const Data deepest = archiveWithTwoWays(limits::archiveDepth);
  EXPECT_TRUE(unarchiveObjectWithData(deepest));
  expectRefusal(archiveWithTwoWays(limits::archiveDepth + 1), "nested too deeply");
}

TEST(KeyedUnarchiver, RefusesAVeryDeepArchive) {
  ArchiveBuilder builder;
  UID uid = builder.addArray({});
  for (int level = 0; level < 200000; ++level) uid = builder.addArray({uid});
  expectRefusal(builder.finish(uid), "nested too deeply");
}

TEST(KeyedUnarchiver, TakesTheLastValueOfAKeyThatStandsTwice) {
  ArchiveBuilder builder;
  const UID key = builder.add("key");
  const UID first = builder.add("first");
  const UID second = builder.add("second");
  const UID root = builder.addDictionary({key, key}, {first, second});
  const auto reading = unarchiveObjectWithData(builder.finish(root));
  EXPECT_EQ(reading.value(), Value(Dictionary{{"key", "second"}}));
}

TEST(KeyedUnarchiver, RefusesNullAsAKey) {
  ArchiveBuilder builder;
  expectRefusal(builder.finish(builder.addDictionary({0}, {0})), "no text");
}

TEST(KeyedUnarchiver, RefusesReferencesBeyondTheObjects) {
  ArchiveBuilder builder;
  expectRefusal(builder.finish(builder.addArray({1000})), "leaves the archive");
  ArchiveBuilder root;
  expectRefusal(root.finish(1000), "leaves the archive");
}

TEST(KeyedUnarchiver, RefusesMoreObjectsThanItsLimit) {
  ArchiveBuilder builder;
  const UID text = builder.add("text");
  for (std::size_t i = builder.next(); i <= limits::archiveObjects; ++i) builder.addAgain(text);
  expectRefusal(builder.finish(text), "too many objects");
}

TEST(KeyedArchiver, RefusesToWriteMoreObjectsThanCanBeReadBack) {
  Array numbers;
  for (std::size_t i = 0; i <= limits::archiveObjects; ++i) numbers.push_back(i);
  EXPECT_THROW(archivedDataWithRootObject(numbers), std::invalid_argument);
}

}  // namespace
}  // namespace orx::testing
