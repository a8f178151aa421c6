// SPDX-License-Identifier: MIT
#include <ORXAccount/platform/Value.h>
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <memory>
#include <string>
#include <utility>

namespace orx {
namespace {

constexpr std::uint64_t kTwoTo63 = std::uint64_t{1} << 63U;

// Equal to every other of its class.
class Alike final : public Object {
 public:
  bool isEqual(const Object* object) const override {
    return dynamic_cast<const Alike*>(object) != nullptr;
  }
};

TEST(Value, KnowsItsKind) {
  using Kind = Value::Kind;
  EXPECT_EQ(Value().kind(), Kind::Null);
  EXPECT_EQ(Value(nullptr).kind(), Kind::Null);
  EXPECT_EQ(Value(true).kind(), Kind::Boolean);
  EXPECT_EQ(Value(1).kind(), Kind::Integer);
  EXPECT_EQ(Value(kTwoTo63).kind(), Kind::Integer);
  EXPECT_EQ(Value(1.0).kind(), Kind::Double);
  EXPECT_EQ(Value("a").kind(), Kind::String);
  EXPECT_EQ(Value(Data("a")).kind(), Kind::Data);
  EXPECT_EQ(Value(Array{1}).kind(), Kind::Array);
  EXPECT_EQ(Value(Dictionary{}).kind(), Kind::Dictionary);
  EXPECT_EQ(Value(std::make_shared<Object>()).kind(), Kind::Object);
  EXPECT_EQ(Value(std::shared_ptr<Object>()).kind(), Kind::Null);
}

TEST(Value, GivesItsContentOnlyAsTheKindItIs) {
  const Value text("1");
  EXPECT_EQ(*text.string(), "1");
  EXPECT_FALSE(text.integer());
  EXPECT_FALSE(text.number());
  EXPECT_FALSE(text.boolean());
  EXPECT_EQ(text.array(), nullptr);
  EXPECT_EQ(text.dictionary(), nullptr);
  EXPECT_EQ(text.data(), nullptr);
  EXPECT_EQ(text.object(), nullptr);
  EXPECT_FALSE(Value(1).boolean());
  EXPECT_FALSE(Value(true).integer());
  EXPECT_FALSE(Value(1.0).integer());
  EXPECT_EQ(Value(1).number(), 1.0);
}

// A list whose nodes hold the next one.
class Node final : public Object {
 public:
  Value next;
};

TEST(Value, TakesOverWhatIsMovedToIt) {
  const std::string text(40, 'a');
  for (const Value& before : {Value(), Value(1), Value("short"), Value(text), Value(Array{1})}) {
    for (const Value& moved : {Value(), Value(2.5), Value(text), Value(Dictionary{{"a", 1}})}) {
      Value value = before;
      Value source = moved;
      value = std::move(source);
      EXPECT_EQ(value, moved);
      source = before;
      EXPECT_EQ(source, before);
      Value& same = value;
      value = std::move(same);
      value = moved;
      EXPECT_EQ(value, moved);
    }
  }
}

TEST(Value, MayBeReplacedByWhatItHolds) {
  const auto last = std::make_shared<Node>();
  auto first = std::make_shared<Node>();
  Node& node = *first;
  node.next = last;
  const std::weak_ptr<Node> watched = first;
  Value list(std::move(first));
  list = std::move(node.next);
  EXPECT_EQ(list.object(), last);
  EXPECT_TRUE(watched.expired());
  Value value(Dictionary{{"inner", Array{Data("bytes"), 2}}});
  value = (*value.dictionary())["inner"];
  EXPECT_EQ(value, Value(Array{Data("bytes"), 2}));
  value = (*value.array())[0];
  EXPECT_EQ(value, Value(Data("bytes")));
}

TEST(Value, HoldsTheWholeSignedAndUnsignedRange) {
  const Value lowest(std::numeric_limits<std::int64_t>::min());
  EXPECT_EQ(lowest.integer(), std::numeric_limits<std::int64_t>::min());
  EXPECT_FALSE(lowest.unsignedInteger());
  const Value highest(std::numeric_limits<std::uint64_t>::max());
  EXPECT_EQ(highest.unsignedInteger(), std::numeric_limits<std::uint64_t>::max());
  EXPECT_FALSE(highest.integer());
  EXPECT_EQ(highest.number(), 18446744073709551616.0);
  EXPECT_EQ(Value(std::uint64_t{5}).integer(), 5);
  EXPECT_EQ(Value(5).unsignedInteger(), 5U);
}

TEST(Value, ComparesNumbersByValueWithoutRounding) {
  EXPECT_EQ(Value(1), Value(1.0));
  EXPECT_EQ(Value(1.0), Value(1));
  EXPECT_EQ(Value(0), Value(-0.0));
  EXPECT_FALSE(Value(1) == Value(1.5));
  EXPECT_EQ(Value(5U), Value(5));
  EXPECT_EQ(Value(kTwoTo63), Value(9223372036854775808.0));
  EXPECT_EQ(Value(std::numeric_limits<std::int64_t>::min()), Value(-9223372036854775808.0));
  EXPECT_FALSE(Value((std::int64_t{1} << 53U) + 1) == Value(9007199254740992.0));
  EXPECT_FALSE(Value(std::numeric_limits<std::int64_t>::max()) == Value(9223372036854775808.0));
  EXPECT_FALSE(Value(std::numeric_limits<std::uint64_t>::max()) == Value(18446744073709551616.0));
  EXPECT_FALSE(Value(0) == Value(std::nan("")));
  EXPECT_FALSE(Value(-1) == Value(std::numeric_limits<std::uint64_t>::max()));
  EXPECT_FALSE(Value(1) == Value(-std::numeric_limits<double>::infinity()));
}

TEST(Value, ComparesOtherKindsByContent) {
  EXPECT_FALSE(Value(true) == Value(1));
  EXPECT_FALSE(Value("1") == Value(1));
  EXPECT_FALSE(Value() == Value(false));
  EXPECT_FALSE(Value("a") == Value(Data("a")));
  EXPECT_EQ(Value(Data("a")), Value(Data("a")));
  EXPECT_EQ((Value(Array{1, "a", Array{}})), (Value(Array{1.0, "a", Array{}})));
  EXPECT_FALSE((Value(Array{1, 2})) == (Value(Array{2, 1})));
  EXPECT_EQ((Value(Dictionary{{"a", 1}, {"b", 2}})), (Value(Dictionary{{"b", 2.0}, {"a", 1}})));
  EXPECT_EQ(Value(std::make_shared<Alike>()), Value(std::make_shared<Alike>()));
  EXPECT_FALSE(Value(std::make_shared<Object>()) == Value(std::make_shared<Object>()));
}

TEST(Value, GivesObjectsAsTheirClass) {
  const auto alike = std::make_shared<Alike>();
  const Value value(alike);
  EXPECT_EQ(value.object(), alike);
  EXPECT_EQ(value.objectOf<Alike>(), alike);
  EXPECT_EQ(Value(std::make_shared<Object>()).objectOf<Alike>(), nullptr);
  EXPECT_EQ(Value("a").objectOf<Alike>(), nullptr);
}

TEST(Value, StandsAsTextForScalarsOnly) {
  EXPECT_EQ(Value("a").text(), "a");
  EXPECT_EQ(Value(true).text(), "true");
  EXPECT_EQ(Value(false).text(), "false");
  EXPECT_EQ(Value(-7).text(), "-7");
  EXPECT_EQ(Value(std::numeric_limits<std::uint64_t>::max()).text(), "18446744073709551615");
  EXPECT_EQ(Value(0.1).text(), "0.1");
  EXPECT_EQ(Value(77.0).text(), "77");
  EXPECT_FALSE(Value().text());
  EXPECT_FALSE(Value(Data("a")).text());
  EXPECT_FALSE(Value(Array{}).text());
  EXPECT_FALSE(Value(Dictionary{}).text());
  EXPECT_FALSE(Value(std::make_shared<Object>()).text());
}

TEST(Value, DescribesEveryKind) {
  const Value value(Dictionary{{"a", Array{1, "x", Value()}}, {"b", Data("abc")}});
  EXPECT_EQ(value.description(), "{a: [1, x, (null)], b: <3 bytes>}");
  EXPECT_EQ(Value(std::make_shared<Object>()).description(), "<object>");
}

TEST(Array, HoldsItsValuesInOrderAndReadsAsNullBeyondThem) {
  Array array{1, "a"};
  array.push_back(Array{2});
  EXPECT_EQ(array.size(), 3U);
  EXPECT_EQ(array, Array(std::vector<Value>{1, "a", Value(Array{2})}));
  EXPECT_EQ(array[1], "a");
  EXPECT_TRUE(array[3].isNull());
  EXPECT_TRUE(Array().empty());
  EXPECT_TRUE(Array()[0].isNull());
  EXPECT_EQ(std::vector<Value>(array.begin(), array.end())[2], Value(Array{2}));
}

TEST(Array, ChangesNoCopy) {
  Array array{1};
  const Array copy = array;
  array.push_back(2);
  EXPECT_EQ(copy, Array{1});
}

}  // namespace
}  // namespace orx
