// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <stdexcept>
#include <string>

#include "platform/base/Limits.h"
#include "platform/formats/JSONSerialization.h"

namespace orx::platform {
namespace {

using namespace std::string_view_literals;

std::string refusalOf(const Value& value) {
  try {
    return "written: " + textWithJSONObject(value);
  } catch (const std::invalid_argument& error) {
    return error.what();
  }
}

TEST(JSONWriter, WritesCompactlyInInsertionOrder) {
  Dictionary dictionary{{"Ticket", "t"}, {"b", Array{1, true, false, Value()}}};
  dictionary.set("a", Dictionary{});
  dictionary.set("Ticket", "u");
  EXPECT_EQ(textWithJSONObject(dictionary), R"({"Ticket":"u","b":[1,true,false,null],"a":{}})");
  EXPECT_EQ(textWithJSONObject(Array{}), "[]");
}

TEST(JSONWriter, WritesEveryKindOfTopLevelValue) {
  EXPECT_EQ(textWithJSONObject(Value()), "null");
  EXPECT_EQ(textWithJSONObject("a"), "\"a\"");
  EXPECT_EQ(textWithJSONObject(true), "true");
}

TEST(JSONWriter, EscapesWhatJSONAsksForAndTheSlash) {
  EXPECT_EQ(textWithJSONObject("a/b\"c\\d\b\f\n\r\t"), R"("a\/b\"c\\d\b\f\n\r\t")");
  EXPECT_EQ(textWithJSONObject("\0\x01\x0B\x1F\x7F"sv), "\"\\u0000\\u0001\\u000b\\u001f\x7F\"");
  EXPECT_EQ(textWithJSONObject(Dictionary{{"k/\n", 1}}), R"({"k\/\n":1})");
}

TEST(JSONWriter, LeavesTextBeyondASCIIAndMarkupAsItIs) {
  EXPECT_EQ(textWithJSONObject("\u00E9\u2028\u2029\U0001F600&<>'"),
            "\"\u00E9\u2028\u2029\U0001F600&<>'\"");
}

TEST(JSONWriter, WritesIntegersOverBothRanges) {
  EXPECT_EQ(textWithJSONObject(std::numeric_limits<std::int64_t>::min()), "-9223372036854775808");
  EXPECT_EQ(textWithJSONObject(std::numeric_limits<std::uint64_t>::max()), "18446744073709551615");
}

TEST(JSONWriter, WritesDoublesInTheFewestDigitsThatReadBackEqual) {
  EXPECT_EQ(textWithJSONObject(0.1), "0.1");
  EXPECT_EQ(textWithJSONObject(1.0), "1");
  EXPECT_EQ(textWithJSONObject(-1.5), "-1.5");
  // Equal to 0 when it is compared, so that reading it back would not show a lost sign.
  EXPECT_EQ(textWithJSONObject(-0.0), "-0");
  for (const double number :
       {0.1, 1.0, -0.0, 1e22, 1e21, 5e-324, 1.7976931348623157e308, 9007199254740993.0, 1.0 / 3,
        9223372036854775808.0, 18446744073709551616.0, 123456789012345680000.0}) {
    const auto reading = JSONObjectWithText(textWithJSONObject(number));
    ASSERT_TRUE(reading) << textWithJSONObject(number);
    EXPECT_EQ(*reading, Value(number)) << textWithJSONObject(number);
  }
}

TEST(JSONWriter, WritesDoublesWithoutAnExponentWhereTheyAreNeitherSmallNorLarge) {
  EXPECT_EQ(textWithJSONObject(100000.0), "100000");
  EXPECT_EQ(textWithJSONObject(-1e5), "-100000");
  EXPECT_EQ(textWithJSONObject(1e15), "1000000000000000");
  EXPECT_EQ(textWithJSONObject(9007199254740992.0), "9007199254740992");
  EXPECT_EQ(textWithJSONObject(1e21), "1000000000000000000000");
  EXPECT_EQ(textWithJSONObject(1e-5), "0.00001");
  EXPECT_EQ(textWithJSONObject(-1.2345678901234568e-5), "-0.000012345678901234568");
  EXPECT_EQ(textWithJSONObject(1e22), "1e+22");
  EXPECT_EQ(textWithJSONObject(9e-6), "9e-06");
}

TEST(JSONWriter, RefusesNumbersThatAreNone) {
  constexpr double infinity = std::numeric_limits<double>::infinity();
  EXPECT_EQ(refusalOf(Dictionary{{"a", Array{1, 2, 3, std::nan("")}}}),
            R"(cannot write JSON: parameters["a"][3] is NaN)");
  EXPECT_EQ(refusalOf(infinity), "cannot write JSON: parameters is infinite");
  EXPECT_EQ(refusalOf(Array{-infinity}), "cannot write JSON: parameters[0] is infinite");
}

TEST(JSONWriter, RefusesDataObjectsAndTextThatIsNotUTF8) {
  EXPECT_EQ(refusalOf(Dictionary{{"a", Data("x")}}),
            R"(cannot write JSON: parameters["a"] is data)");
  const auto object = std::make_shared<Object>();
  EXPECT_EQ(refusalOf(Array{Value(object)}),
            "cannot write JSON: parameters[0] is an object that JSON cannot hold");
  EXPECT_EQ(refusalOf(Dictionary{{"a", "\xFF"}}),
            R"(cannot write JSON: parameters["a"] is not UTF-8)");
  EXPECT_EQ(refusalOf(Dictionary{{"a", Dictionary{{"\xED\xA0\x80", 1}}}}),
            R"(cannot write JSON: parameters["a"] has a key that is not UTF-8)");
  EXPECT_EQ(refusalOf(Dictionary{{"a", Dictionary{{"b", 1}}}, {"c\"", Data("x")}}),
            R"(cannot write JSON: parameters["c\""] is data)");
}

Value nested(std::size_t depth) {
  Value value(Array{});
  for (std::size_t level = 1; level < depth; ++level) value = Array{value};
  return value;
}

TEST(JSONWriter, NestsAsDeepAsTheReader) {
  const std::string text = textWithJSONObject(nested(limits::jsonDepth));
  EXPECT_TRUE(JSONObjectWithText(text));
  EXPECT_EQ(refusalOf(nested(limits::jsonDepth + 1)),
            "cannot write JSON: parameters[0][0][0][0][0][0][0][0][0][0][0][0][0][0][0][0]... is "
            "nested more than 512 deep");
}

}  // namespace
}  // namespace orx::platform
