// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <cmath>

#include "platform/base/Limits.h"
#include "platform/formats/ArchiveBuilder.h"
#include "platform/formats/ArchiveValues.h"
#include "platform/formats/Canonical.h"
#include "platform/formats/KeyedArchiver.h"
#include "platform/formats/KeyedUnarchiver.h"
#include "platform/formats/PropertyList.h"

namespace orx::testing {

using namespace platform;
namespace {

Value roundTrip(const Value& value) {
  const auto reading = unarchiveObjectWithData(archivedDataWithRootObject(value));
  EXPECT_TRUE(reading) << reading.error()->localizedDescription();
  return reading.value_or(Value());
}

// An object with two fields, which may be null, and may refer to another.
class Pair final : public SecureCoding {
 public:
  static constexpr std::string_view kName = "Pair";

  Pair(Value first, Value second) : first_(std::move(first)), second_(std::move(second)) {}

  std::string_view archivedClassName() const override { return kName; }
  void encodeWithCoder(Coder& coder) const override {
    coder.encodeObject_forKey("written over", "first");
    coder.encodeObject_forKey(second_, "second");
    coder.encodeObject_forKey(first_, "first");
  }
  static std::shared_ptr<Object> initWithCoder(const Coder& coder) {
    const auto any = [&coder](std::string_view key) {
      for (const auto kind : {Value::Kind::Boolean, Value::Kind::Integer, Value::Kind::String,
                              Value::Kind::Dictionary, Value::Kind::Object}) {
        Value value = coder.decodeObjectOfClass_forKey(kind, key);
        if (!value.isNull()) return value;
      }
      return Value();
    };
    return std::make_shared<Pair>(any("first"), any("second"));
  }

  void setSecond(Value second) { second_ = std::move(second); }
  const Value& first() const { return first_; }
  const Value& second() const { return second_; }

 private:
  Value first_;
  Value second_;
};

class Opaque final : public Object {};

class ReservedKey final : public SecureCoding {
 public:
  std::string_view archivedClassName() const override { return "ReservedKey"; }
  void encodeWithCoder(Coder& coder) const override { coder.encodeObject_forKey(1, "$class"); }
};

void registerPair() { setClass_forClassName(&Pair::initWithCoder, Pair::kName); }

TEST(KeyedArchiver, GivesBackEveryKindOfValue) {
  for (const auto& [name, value] : archiveValues(true)) {
    EXPECT_EQ(canonical(roundTrip(value)), canonical(value)) << name;
  }
}

TEST(KeyedArchiver, ArchivesNullAsTheRoot) { EXPECT_TRUE(roundTrip(nullptr).isNull()); }

TEST(KeyedArchiver, GivesTheSameBytesForEqualValues) {
  const auto value = [] { return Value(Dictionary{{"a", Array{1, "b"}}, {"c", nullptr}}); };
  EXPECT_EQ(archivedDataWithRootObject(value()), archivedDataWithRootObject(value()));
}

TEST(KeyedArchiver, WritesEqualTextOnce) {
  const std::string text(1000, 'x');
  const Data data = archivedDataWithRootObject(Array{text, text, Dictionary{{text, text}}});
  const auto first = data.text().find(text);
  ASSERT_NE(first, std::string_view::npos);
  EXPECT_EQ(data.text().find(text, first + 1), std::string_view::npos);
}

TEST(KeyedArchiver, WritesASharedContainerOnceHoweverOftenItIsReached) {
  Value value = Dictionary{{"text", "at the bottom"}};
  for (int level = 0; level < 15; ++level) value = Array{value, value};
  const Data data = archivedDataWithRootObject(value);
  EXPECT_LT(data.size(), 1000U);
  EXPECT_EQ(roundTrip(value), value);
}

TEST(KeyedArchiver, RefusesTextThatIsNotUTF8) {
  for (const std::string text : {"\xff", "\xc0\x80", "\xed\xa0\x80", "\xf4\x90\x80\x80",
                                 "a\xe2\x82", "\x80", "\xe0\x80\xaf", "\xf0\x80\x80\xaf"}) {
    EXPECT_THROW(archivedDataWithRootObject(text), std::invalid_argument);
    EXPECT_THROW(archivedDataWithRootObject(Dictionary{{text, 1}}), std::invalid_argument);
    EXPECT_THROW(archivedDataWithRootObject(Dictionary{{"key", Array{text}}}),
                 std::invalid_argument);
  }
}

TEST(KeyedArchiver, RefusesAnObjectThatCannotBeArchived) {
  EXPECT_THROW(archivedDataWithRootObject(std::make_shared<Opaque>()), std::invalid_argument);
  EXPECT_THROW(archivedDataWithRootObject(Array{std::make_shared<Opaque>()}),
               std::invalid_argument);
}

TEST(KeyedArchiver, RefusesAFieldUnderANameOfTheArchivesOwn) {
  setClass_forClassName([](const Coder&) { return std::make_shared<Opaque>(); }, "ReservedKey");
  EXPECT_THROW(archivedDataWithRootObject(std::make_shared<ReservedKey>()), std::invalid_argument);
}

TEST(KeyedArchiver, RefusesWhatIsNestedTooDeeplyToBeRead) {
  EXPECT_NO_THROW(archivedDataWithRootObject(nested(limits::archiveDepth)));
  EXPECT_THROW(archivedDataWithRootObject(nested(limits::archiveDepth + 1)), std::invalid_argument);
}

TEST(KeyedArchiver, RefusesAnObjectThatContainsItself) {
  registerPair();
  const auto pair = std::make_shared<Pair>(1, nullptr);
  pair->setSecond(Array{pair});
  EXPECT_THROW(archivedDataWithRootObject(pair), std::invalid_argument);
  pair->setSecond(nullptr);
}

TEST(KeyedArchiver, RestoresObjectsByTheirFields) {
  registerPair();
  const auto inner = std::make_shared<Pair>("text", true);
  const auto pair =
      roundTrip(std::make_shared<Pair>(Dictionary{{"key", 1}}, inner)).objectOf<Pair>();
  ASSERT_NE(pair, nullptr);
  EXPECT_EQ(pair->first(), Value(Dictionary{{"key", 1}}));
  const auto restored = pair->second().objectOf<Pair>();
  ASSERT_NE(restored, nullptr);
  EXPECT_EQ(restored->first(), Value("text"));
  EXPECT_EQ(restored->second(), Value(true));
}

TEST(KeyedArchiver, WritesANullFieldAsTheArchivesNull) {
  registerPair();
  const Data data = archivedDataWithRootObject(std::make_shared<Pair>(nullptr, 2));
  EXPECT_EQ(data.text().find("NSNull"), std::string_view::npos);
  const auto reading = unarchiveObjectWithData(data);
  ASSERT_TRUE(reading);
  const auto pair = reading->objectOf<Pair>();
  ASSERT_NE(pair, nullptr);
  EXPECT_TRUE(pair->first().isNull());
  EXPECT_EQ(pair->second(), Value(2));
}

TEST(KeyedArchiver, KeepsTheIdentityOfAnObjectThatIsReachedTwice) {
  registerPair();
  const auto shared = std::make_shared<Pair>(1, 2);
  const Value root = roundTrip(Array{shared, shared});
  ASSERT_NE(root.array(), nullptr);
  EXPECT_NE((*root.array())[0].object(), nullptr);
  EXPECT_EQ((*root.array())[0].object(), (*root.array())[1].object());
}

TEST(KeyedArchiver, GivesTheSharedContentOfADictionaryOnceWhenRestored) {
  const Dictionary shared{{"key", "value"}};
  const Value root = roundTrip(Array{shared, shared});
  ASSERT_NE(root.array(), nullptr);
  EXPECT_TRUE((*root.array())[0].dictionary()->isSameAs(*(*root.array())[1].dictionary()));
}

TEST(Coder, GivesAFieldOnlyAsTheKindThatItIs) {
  setClass_forClassName(
      [](const Coder& coder) {
        EXPECT_EQ(coder.decodeObjectOfClass_forKey(Value::Kind::Integer, "first"), Value(7));
        EXPECT_TRUE(coder.decodeObjectOfClass_forKey(Value::Kind::String, "first").isNull());
        EXPECT_TRUE(coder.decodeObjectOfClass_forKey(Value::Kind::Double, "first").isNull());
        EXPECT_TRUE(coder.decodeObjectOfClass_forKey(Value::Kind::Dictionary, "none").isNull());
        EXPECT_TRUE(coder.decodeObjectOfClass_forKey(Value::Kind::String, "$class").isNull());
        return std::make_shared<Opaque>();
      },
      Pair::kName);
  EXPECT_NE(roundTrip(std::make_shared<Pair>(7, "text")).objectOf<Opaque>(), nullptr);
}

TEST(KeyedUnarchiver, TakesTheFirstOfTwoFieldsOfOneName) {
  registerPair();
  ArchiveBuilder builder;
  const auto pairClass = builder.addClass(Pair::kName);
  const auto one = builder.add("one");
  const auto two = builder.add("two");
  const auto root = builder.addObject(
      pairClass, {{"first", one}, {"first", two}, {"second", two}, {"second", one}});
  const auto reading = unarchiveObjectWithData(builder.finish(root));
  ASSERT_TRUE(reading) << reading.error()->localizedDescription();
  const auto pair = reading->objectOf<Pair>();
  ASSERT_NE(pair, nullptr);
  EXPECT_EQ(pair->first(), Value("one"));
  EXPECT_EQ(pair->second(), Value("two"));
}

TEST(KeyedUnarchiver, ReplacesAFactoryThatIsSetAgain) {
  registerPair();
  setClass_forClassName([](const Coder&) { return std::make_shared<Opaque>(); }, Pair::kName);
  EXPECT_NE(roundTrip(std::make_shared<Pair>(1, 2)).objectOf<Opaque>(), nullptr);
}

void expectRefusal(const Data& data, std::string_view reason) {
  const auto reading = unarchiveObjectWithData(data);
  ASSERT_FALSE(reading);
  EXPECT_EQ(reading.error()->domain(), NSCocoaErrorDomain);
  EXPECT_EQ(reading.error()->code(), NSCoderReadCorruptError);
  EXPECT_NE(reading.error()->localizedDescription().find(reason), std::string::npos)
      << reading.error()->localizedDescription();
}

TEST(KeyedUnarchiver, RefusesAClassThatNobodyRegistered) {
  registerPair();
  const Data data = archivedDataWithRootObject(std::make_shared<Pair>(1, 2));
  setClass_forClassName(nullptr, Pair::kName);
  expectRefusal(data, "class");
}

TEST(KeyedUnarchiver, TurnsAFailingFactoryIntoAnError) {
  registerPair();
  const Data data = archivedDataWithRootObject(std::make_shared<Pair>(1, 2));
  setClass_forClassName(
      [](const Coder&) -> std::shared_ptr<Object> { throw std::runtime_error("not today"); },
      Pair::kName);
  expectRefusal(data, "not today");
  setClass_forClassName([](const Coder&) { return std::shared_ptr<Object>(); }, Pair::kName);
  expectRefusal(data, "fields");
}

TEST(KeyedUnarchiver, RefusesBytesThatAreNoPropertyList) {
  expectRefusal(Data(), "property list");
  expectRefusal(Data("{\"key\": 1}"), "property list");
  expectRefusal(Data(std::string(1000, '\0')), "property list");
}

}  // namespace
}  // namespace orx::testing
