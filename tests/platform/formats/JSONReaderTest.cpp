// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <string>

#include "platform/base/Limits.h"
#include "platform/base/Unicode.h"
#include "platform/formats/JSONSerialization.h"

namespace orx::platform {
namespace {

using namespace std::string_view_literals;

Value readGood(std::string_view text) {
  const auto reading = JSONObjectWithText(text);
  EXPECT_TRUE(reading) << reading.error()->localizedDescription();
  return reading.value_or(Value());
}

std::string descriptionOfRefusal(std::string_view text) {
  const auto reading = JSONObjectWithText(text);
  if (reading) {
    ADD_FAILURE() << "accepted: " << text;
    return "";
  }
  EXPECT_EQ(reading.error()->domain(), NSCocoaErrorDomain);
  EXPECT_EQ(reading.error()->code(), 3840);
  EXPECT_TRUE(isValidUTF8(reading.error()->localizedDescription()));
  return reading.error()->localizedDescription();
}

TEST(JSONReader, ReadsLongListsWhoseElementsAreOfAnySize) {
  const std::string word(300, 'w');
  for (const bool beginsSmall : {true, false}) {
    std::string text = "[";
    for (int index = 0; index < 4000; ++index) {
      if (index > 0) text += ',';
      const bool isSmall = (index < 2000) == beginsSmall;
      text += isSmall ? std::to_string(index) : '"' + word + std::to_string(index) + '"';
    }
    const Value value = JSONObjectWithText(text + ']').value();
    ASSERT_NE(value.array(), nullptr);
    ASSERT_EQ(value.array()->size(), 4000U);
    for (std::size_t index = 0; index < 4000; ++index) {
      const bool isSmall = (index < 2000) == beginsSmall;
      const Value expected = isSmall ? Value(index) : Value(word + std::to_string(index));
      ASSERT_EQ((*value.array())[index], expected);
    }
  }
}

TEST(JSONReader, ReadsEveryKindOfTopLevelValue) {
  EXPECT_EQ(readGood("null"), Value());
  EXPECT_EQ(readGood("true"), Value(true));
  EXPECT_EQ(readGood("-12"), Value(-12));
  EXPECT_EQ(readGood("\"a\""), Value("a"));
  EXPECT_EQ(readGood("[]"), Value(Array{}));
  EXPECT_EQ(readGood(" \t\r\n{ } \n"), Value(Dictionary{}));
}

TEST(JSONReader, SkipsAByteOrderMark) {
  EXPECT_EQ(readGood("\xEF\xBB\xBF{\"a\":1}"), Value(Dictionary{{"a", 1}}));
  EXPECT_EQ(descriptionOfRefusal("\xEF\xBB\xBF"),
            "The text is not JSON: line 1, column 0: it is empty.");
  EXPECT_EQ(descriptionOfRefusal("\xEF\xBB\xBF[1,]"),
            "The text is not JSON: line 1, column 4: a value is missing.");
  descriptionOfRefusal("\xEF\xBB\xBF\xEF\xBB\xBF{}");
  descriptionOfRefusal("[\xEF\xBB\xBF]");
  descriptionOfRefusal("\xEF\xBB{}");
}

TEST(JSONReader, ReadsWideTextBehindAByteOrderMark) {
  for (const std::string_view text :
       {"\xFE\xFF\0[\0\"\xD8\x3D\xDE\x00\0\"\0]"sv, "\xFF\xFE[\0\"\0\x3D\xD8\x00\xDE\"\0]\0"sv,
        "\0\0\xFE\xFF\0\0\0[\0\0\0\"\0\1\xF6\0\0\0\0\"\0\0\0]"sv,
        "\xFF\xFE\0\0[\0\0\0\"\0\0\0\0\xF6\1\0\"\0\0\0]\0\0\0"sv}) {
    EXPECT_EQ(readGood(text), Value(Array{"\U0001F600"}));
    descriptionOfRefusal(text.substr(0, text.size() - 1));
  }
  // Half a surrogate pair, and no mark.
  descriptionOfRefusal("\xFE\xFF\0\"\xD8\x3D\0\""sv);
  descriptionOfRefusal("\xFE\xFF"sv);
  descriptionOfRefusal("\0[\0]"sv);
}

TEST(JSONReader, ReadsANestedAnswer) {
  const Value value = readGood(
      R"([{"login":"a@b.example","cus_id":77,"pic":"a\/b","region":null,"tags":[1,[],{}]}])");
  const Value expected(
      Array{Value(Dictionary{{"login", "a@b.example"},
                             {"cus_id", 77},
                             {"pic", "a/b"},
                             {"region", Value()},
                             {"tags", Array{1, Value(Array{}), Value(Dictionary{})}}})});
  EXPECT_EQ(value, expected);
  const auto& entries = (*value.array())[0].dictionary()->entries();
  EXPECT_EQ(entries[0].key, "login");
  EXPECT_EQ(entries[4].key, "tags");
}

TEST(JSONReader, KeepsIntegersExactOverBothRanges) {
  const Value value = readGood(
      "[-9223372036854775808,9223372036854775807,9223372036854775808,18446744073709551615,0,-0]");
  const Array& array = *value.array();
  EXPECT_EQ(array[0].integer(), std::numeric_limits<std::int64_t>::min());
  EXPECT_EQ(array[1].integer(), std::numeric_limits<std::int64_t>::max());
  EXPECT_EQ(array[2].unsignedInteger(), 9223372036854775808U);
  EXPECT_EQ(array[3].unsignedInteger(), std::numeric_limits<std::uint64_t>::max());
  EXPECT_EQ(array[4].integer(), 0);
  EXPECT_EQ(array[5].integer(), 0);
}

TEST(JSONReader, ReadsLargerIntegersAsDoubles) {
  const Value value =
      readGood("[18446744073709551616,-9223372036854775809,1" + std::string(30, '0') + "]");
  const Array& array = *value.array();
  for (const Value& number : array) EXPECT_EQ(number.kind(), Value::Kind::Double);
  EXPECT_EQ(array[0].number(), 18446744073709551616.0);
  EXPECT_EQ(array[1].number(), -9223372036854775808.0);
  EXPECT_EQ(array[2].number(), 1e30);
}

TEST(JSONReader, KeepsTheDigitsOfLargerIntegersWhereTheyAreAskedFor) {
  const std::string digits = "-1" + std::string(30, '2');
  const auto reading =
      JSONObjectWithText("[" + digits + ",18446744073709551615,1.5,1e30]", LargeIntegers::Text);
  ASSERT_TRUE(reading);
  EXPECT_EQ(*reading, Value(Array{digits, 18446744073709551615U, 1.5, 1e30}));
}

TEST(JSONReader, RoundsDoublesToTheNearest) {
  const Value value = readGood(
      "[0.1,1.7976931348623157e308,5e-324,2.2250738585072011e-308,1e22,9007199254740993.0,1e-400,-"
      "0.0,1E+2]");
  const Array& array = *value.array();
  EXPECT_EQ(array[0].number(), 0.1);
  EXPECT_EQ(array[1].number(), std::numeric_limits<double>::max());
  EXPECT_EQ(array[2].number(), std::numeric_limits<double>::denorm_min());
  EXPECT_EQ(array[3].number(), 0x0.fffffffffffffp-1022);
  EXPECT_EQ(array[4].number(), 1e22);
  EXPECT_EQ(array[5].number(), 9007199254740992.0);
  EXPECT_EQ(array[6].number(), 0.0);
  EXPECT_TRUE(std::signbit(*array[7].number()));
  EXPECT_EQ(array[8].number(), 100.0);
}

TEST(JSONReader, RefusesANumberBeyondEveryDouble) {
  EXPECT_EQ(descriptionOfRefusal("[1e999]"),
            "The text is not JSON: line 1, column 6: a number is too large.");
  descriptionOfRefusal("-1e999");
  descriptionOfRefusal(std::string(100'000, '9'));
}

TEST(JSONReader, RefusesMoreValuesThanItsLimit) {
  std::string text = "[0";
  for (std::size_t value = 2; value < limits::jsonValues; ++value) text += ",0";
  EXPECT_TRUE(JSONObjectWithText(text + "]"));
  EXPECT_NE(descriptionOfRefusal(text + ",0]").find("more than 4000000 values"), std::string::npos);
}

TEST(JSONReader, DecodesEscapes) {
  EXPECT_EQ(readGood(R"("\"\\\/\b\f\n\r\t\u00e9\u20AC\ud83d\ude00")"),
            Value("\"\\/\b\f\n\r\t\u00E9\u20AC\U0001F600"));
  EXPECT_EQ(readGood(R"("a\u0000b")"), Value("a\0b"sv));
}

TEST(JSONReader, TakesTheLastValueOfADuplicateKeyInTheFirstPlace) {
  const Value value = readGood(R"({"a":1,"b":2,"a":3})");
  const auto& entries = value.dictionary()->entries();
  ASSERT_EQ(entries.size(), 2U);
  EXPECT_EQ(entries[0].key, "a");
  EXPECT_EQ(entries[0].value, Value(3));
  EXPECT_EQ(entries[1].key, "b");
}

TEST(JSONReader, SaysWhereAndWhyItRefuses) {
  EXPECT_EQ(descriptionOfRefusal(""), "The text is not JSON: line 1, column 0: it is empty.");
  EXPECT_EQ(descriptionOfRefusal("{\n  \"a\": tru }"),
            "The text is not JSON: line 2, column 11: a word is none of true, false and null.");
  EXPECT_EQ(descriptionOfRefusal("[1"),
            "The text is not JSON: line 1, column 2: it ends too early.");
  // A token in the wrong place is blamed at its end, anything else at the byte that is wrong.
  EXPECT_EQ(descriptionOfRefusal("[1 22 ]"),
            "The text is not JSON: line 1, column 5: a comma or the closing bracket is missing.");
  EXPECT_EQ(descriptionOfRefusal("{\"a\"\n\"bc\"}"),
            "The text is not JSON: line 2, column 4: a colon is missing.");
  EXPECT_EQ(descriptionOfRefusal("{1:2}"),
            "The text is not JSON: line 1, column 2: a key is missing.");
  EXPECT_EQ(descriptionOfRefusal("[1,]"),
            "The text is not JSON: line 1, column 4: a value is missing.");
  EXPECT_EQ(descriptionOfRefusal("[] null"),
            "The text is not JSON: line 1, column 7: more follows.");
  EXPECT_EQ(descriptionOfRefusal("-x"),
            "The text is not JSON: line 1, column 2: a digit is missing.");
  EXPECT_EQ(descriptionOfRefusal("<html>"),
            "The text is not JSON: line 1, column 1: no value begins like this.");
  EXPECT_EQ(descriptionOfRefusal("\"\xEF\xBB\xBF\t\""),
            "The text is not JSON: line 1, column 5: a string holds a control character.");
  EXPECT_EQ(descriptionOfRefusal("\"\xE2\x82x\""),
            "The text is not JSON: line 1, column 4: a string is not UTF-8.");
  EXPECT_EQ(descriptionOfRefusal("\"\\x\""),
            "The text is not JSON: line 1, column 3: an escape is unknown.");
  EXPECT_EQ(descriptionOfRefusal("\"\\u12x4\""),
            "The text is not JSON: line 1, column 6: an escape lacks a hexadecimal digit.");
  EXPECT_EQ(descriptionOfRefusal("\"\\udc00\""),
            "The text is not JSON: line 1, column 7: an escape is half a surrogate pair.");
  EXPECT_EQ(descriptionOfRefusal("{}\n\0"sv),
            "The text is not JSON: line 2, column 1: it holds a NUL.");
}

TEST(JSONReader, RefusesWhatIsNotJSON) {
  for (const std::string_view text : {" "sv,
                                      "{} x"sv,
                                      "[1]]"sv,
                                      "[1,]"sv,
                                      "{\"a\":1,}"sv,
                                      "{a:1}"sv,
                                      "'a'"sv,
                                      "01"sv,
                                      "+1"sv,
                                      ".5"sv,
                                      "1."sv,
                                      "NaN"sv,
                                      "Infinity"sv,
                                      "True"sv,
                                      "nul"sv,
                                      "// c\n1"sv,
                                      "/**/1"sv,
                                      "\"\t\""sv,
                                      "\"\\x\""sv,
                                      "\"\\u12G4\""sv,
                                      "\0"sv,
                                      "[1]\0]"sv,
                                      "\"a\0b\""sv,
                                      "{\"a\"}"sv,
                                      "{\"a\":}"sv,
                                      "{,}"sv,
                                      "[,]"sv,
                                      "\xA0"sv,
                                      "\u00A0"
                                      "1"sv,
                                      "<html>"sv}) {
    descriptionOfRefusal(text);
  }
}

TEST(JSONReader, RefusesLoneSurrogatesAndTextThatIsNotUTF8) {
  for (const std::string_view text :
       {R"("\ud800")"sv, R"("\udc00")"sv, R"("\ud800\ud800")"sv, R"("\ud83dx")"sv, "\"\xFF\""sv,
        "\"\xC0\xAF\""sv, "\"\xED\xA0\x80\""sv, "\"\xF4\x90\x80\x80\""sv, "{\"\xE2\x82\":1}"sv,
        "\"\xE2\x82"sv}) {
    descriptionOfRefusal(text);
  }
}

TEST(JSONReader, KeepsALongOffendingTextOutOfItsDescription) {
  EXPECT_LT(descriptionOfRefusal("\"" + std::string(100'000, 'a') + "\xFF").size(), 300U);
}

TEST(JSONReader, NestsToTheLimitAndNoDeeper) {
  const auto nested = [](std::size_t depth) {
    return std::string(depth, '[') + std::string(depth, ']');
  };
  readGood(nested(limits::jsonDepth));
  EXPECT_EQ(descriptionOfRefusal("[\"[\\\"{\"," + nested(limits::jsonDepth) + "]"),
            "The text is not JSON: line 1, column 520: it is nested more than 512 deep.");
  std::string mixed;
  for (std::size_t depth = 0; depth < 1'000'000; ++depth) mixed += depth % 2 == 0 ? "{\"a\":" : "[";
  descriptionOfRefusal(mixed);
}

TEST(JSONReader, RefusesAnAnswerCutAnywhere) {
  const std::string whole =
      "{\"Status\":0,\"Message\":\"\u00E9 "
      "\\u20ac\\ud83d\\ude00\",\"Result\":[true,-1.5e3,null,{}]}";
  readGood(whole);
  for (std::size_t size = 0; size < whole.size(); ++size)
    descriptionOfRefusal(whole.substr(0, size));
}

TEST(JSONReader, ReadsAHundredThousandKeys) {
  std::string text = "{";
  for (int key = 0; key < 100'000; ++key) {
    if (key > 0) text += ',';
    text += "\"k" + std::to_string(key) + "\":" + std::to_string(key);
  }
  const Value value = readGood(text + '}');
  EXPECT_EQ(value.dictionary()->size(), 100'000U);
  EXPECT_EQ((*value.dictionary())["k99999"], Value(99'999));
}

TEST(JSONReader, ReadsAHundredThousandDuplicatesOfOneKey) {
  std::string text = "{";
  for (int key = 0; key < 100'000; ++key) text += "\"k\":" + std::to_string(key) + ",";
  text += "\"k\":-1}";
  EXPECT_EQ(readGood(text), Value(Dictionary{{"k", -1}}));
}

}  // namespace
}  // namespace orx::platform
