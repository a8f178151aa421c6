// SPDX-License-Identifier: MIT
#include <ORXAccount/platform/Value.h>
#include <gtest/gtest.h>

#include <concepts>
#include <cstddef>
#include <limits>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace orx {
namespace {

enum Plain { kPlain };
enum class Scoped { First };

template <typename... Types>
constexpr bool kNoneMakesAValue = (!std::constructible_from<Value, Types> && ...);

TEST(ValueConversions, RefuseCharactersEnumerationsAndPointersWhenTheyAreCompiled) {
  static_assert(kNoneMakesAValue<char, wchar_t, char8_t, char16_t, char32_t>);
  static_assert(kNoneMakesAValue<Plain, Scoped, std::byte>);
  static_assert(kNoneMakesAValue<void*, int*, const wchar_t*, const char8_t*>);
  static_assert(kNoneMakesAValue<std::vector<bool>::reference, std::optional<char>>);
  static_assert(!std::constructible_from<DictionaryEntry, const char*, char>);
  EXPECT_EQ(Value(static_cast<int>('c')), Value(99));
  EXPECT_EQ(Value(static_cast<signed char>(-1)).kind(), Value::Kind::Integer);
}

TEST(ValueConversions, KeepTheKindOfEveryNumberType) {
  EXPECT_EQ(Value(0.5F).kind(), Value::Kind::Double);
  EXPECT_EQ(Value(0.5L), Value(0.5));
  EXPECT_EQ(Value(short{3}).kind(), Value::Kind::Integer);
  EXPECT_EQ(Value(std::numeric_limits<unsigned long long>::max()).kind(), Value::Kind::Integer);
}

TEST(ValueConversions, TakeTextOfEveryKind) {
  const std::string text = "text";
  char buffer[] = "text";
  char* pointer = buffer;
  EXPECT_EQ(Value(text), Value("text"));
  EXPECT_EQ(Value(std::string_view(text)), Value("text"));
  EXPECT_EQ(Value(buffer), Value("text"));
  EXPECT_EQ(Value(pointer), Value("text"));
}

TEST(ValueConversions, TakeWhatIsOptionalAsNullWhenItIsEmpty) {
  EXPECT_EQ(Value(std::optional<std::string>("text")), Value("text"));
  EXPECT_TRUE(Value(std::optional<std::string>()).isNull());
  EXPECT_EQ(Value(std::optional<std::string_view>("text")), Value("text"));
  EXPECT_EQ(Value(std::optional<Dictionary>({{"a", 1}})), Value(Dictionary{{"a", 1}}));
  EXPECT_EQ(Value(std::optional<bool>(false)), Value(false));
  const Dictionary fields{{"login", std::optional<std::string>()}};
  EXPECT_NE(fields.find("login"), nullptr);
  EXPECT_TRUE(fields["login"].isNull());
}

TEST(ValueConversions, RefuseANullPointerToText) {
  const char* nothing = nullptr;
  try {
    const Value value(nothing);
    FAIL() << value.description();
  } catch (const std::invalid_argument& mistake) {
    EXPECT_NE(std::string_view(mistake.what()).find("null pointer"), std::string_view::npos);
  }
  EXPECT_TRUE(Value(nullptr).isNull());
}

TEST(ValueSubscripts, ReadNullWhereNothingIs) {
  const Value value{{"a", Array{"first", Dictionary{{"b", 2}}}}};
  EXPECT_EQ(value["a"][0], Value("first"));
  EXPECT_EQ(value["a"][1]["b"], Value(2));
  EXPECT_TRUE(value["a"][2].isNull());
  EXPECT_TRUE(value["a"][-1].isNull());
  EXPECT_TRUE(value["a"]["b"].isNull());
  EXPECT_TRUE(value[0].isNull());
  EXPECT_TRUE(value["missing"][0]["deeper"].isNull());
  EXPECT_TRUE(Value()["a"][0].isNull());
  EXPECT_TRUE(Value("text")[0].isNull());
}

TEST(ValueLiterals, InBracesAreDictionaries) {
  const Dictionary nested{{"a", {{"b", 1}}}};
  EXPECT_EQ(nested["a"]["b"], Value(1));
  const Dictionary texts{{"a", {{"b", "c"}}}};
  EXPECT_EQ(texts["a"], Value(Dictionary{{"b", "c"}}));
  const Dictionary deep{{"a", {{"b", {{"c", {{"d", nullptr}, {"e", "f"}}}}}, {"g", Array{1, 2}}}}};
  EXPECT_EQ(deep["a"]["b"]["c"]["e"], Value("f"));
  EXPECT_EQ(deep["a"]["g"][1], Value(2));
  const Value one = {{"b", 1}};
  EXPECT_EQ(one, Value(Dictionary{{"b", 1}}));
  EXPECT_EQ(Value({{"b", "c"}}), Value(Dictionary{{"b", "c"}}));
  EXPECT_EQ((Value{{"b", 1}, {"c", 2}}), Value(Dictionary{{"b", 1}, {"c", 2}}));
  EXPECT_EQ((Array{{{"b", 1}}, 2})[0], Value(Dictionary{{"b", 1}}));
  EXPECT_TRUE((Dictionary{{"a", {{}}}})["a"].dictionary()->empty());
  EXPECT_TRUE(Value({}).dictionary()->empty());
}

TEST(ValueLiterals, OfAnArrayInAnArrayNameBoth) {
  EXPECT_EQ(Value(Array{Value(Array{1})})[0][0], Value(1));
  EXPECT_EQ(Value(Array{Array{1}, Array{2}})[1][0], Value(2));
}

TEST(ValueLiterals, AroundOneValueAreThatValueAndAroundNothingNull) {
  const Dictionary dictionary{{"text", {"b"}}, {"number", {1}}, {"nothing", {}}};
  EXPECT_EQ(dictionary["text"], Value("b"));
  EXPECT_EQ(dictionary["number"], Value(1));
  EXPECT_TRUE(dictionary["nothing"].isNull());
}

// Literals that could mean an array, a text or a dictionary. They stand in templates, where what
// cannot be compiled is no error.
template <typename V>
constexpr bool kTakesAPair = requires {
  V{"b", "c"};
};
template <typename V>
constexpr bool kTakesAPairAsArgument = requires {
  V({"b", "c"});
};
template <typename V>
constexpr bool kTakesNumbers = requires {
  V{1, 2};
};
template <typename V>
constexpr bool kTakesThreeTexts = requires {
  V{{"b", "c", "d"}};
};
template <typename V>
constexpr bool kTakesNestedNumbers = requires {
  V{{1, 2}};
};
template <typename V>
constexpr bool kTakesZeroAsAKey = requires {
  V{{0, 1}};
};
template <typename V>
constexpr bool kTakesNullAsAKey = requires {
  V{{nullptr, 1}};
};
template <typename V>
constexpr bool kTakesNestedText = requires {
  V{{"b"}};
};
template <typename V>
constexpr bool kTakesNestedCharacter = requires {
  V{{'c'}};
};
template <typename V>
constexpr bool kTakesACharacterUnderAKey = requires {
  V{{"b", 'c'}};
};
template <typename V>
constexpr bool kTakesAMixture = requires {
  V{{"b", "c"}, "d"};
};
template <typename V>
constexpr bool kTakesAListUnderAKey = requires {
  V{{"b", {1, 2}}};
};
template <typename V>
constexpr bool kTakesTextsUnderAKey = requires {
  V{{"b", {"c", "d"}}};
};
template <typename V>
constexpr bool kTakesATextInTwoBraces = requires {
  V{{"b", {{"c"}}}};
};

template <typename V>
constexpr bool kRefusesWhatIsAmbiguous =
    !kTakesAPair<V> && !kTakesNumbers<V> && !kTakesThreeTexts<V> && !kTakesNestedNumbers<V> &&
    !kTakesZeroAsAKey<V> && !kTakesNullAsAKey<V> && !kTakesNestedText<V> &&
    !kTakesNestedCharacter<V> && !kTakesACharacterUnderAKey<V> && !kTakesAMixture<V> &&
    !kTakesAListUnderAKey<V> && !kTakesTextsUnderAKey<V> && !kTakesATextInTwoBraces<V>;

TEST(ValueLiterals, ThatAreAmbiguousAreRefusedWhenTheyAreCompiled) {
  static_assert(kRefusesWhatIsAmbiguous<Value>);
  static_assert(kRefusesWhatIsAmbiguous<Dictionary>);
  static_assert(!kTakesAPairAsArgument<Value>);
  static_assert(!kTakesAListUnderAKey<Array>);
  EXPECT_EQ((Value{{"b", Array{1, 2}}})["b"][1], Value(2));
}

}  // namespace
}  // namespace orx
