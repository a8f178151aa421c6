// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <limits>
#include <string>

#include "platform/base/Integers.h"

namespace orx {

using namespace platform;
namespace {

using namespace std::string_view_literals;

constexpr std::int32_t kLowest32 = std::numeric_limits<std::int32_t>::min();
constexpr std::int32_t kHighest32 = std::numeric_limits<std::int32_t>::max();
constexpr std::int64_t kLowest64 = std::numeric_limits<std::int64_t>::min();
constexpr std::int64_t kHighest64 = std::numeric_limits<std::int64_t>::max();

void expectBoth(std::string_view text, std::int32_t expected) {
  EXPECT_EQ(intValue(text), expected) << '"' << text << '"';
  EXPECT_EQ(longLongValue(text), expected) << '"' << text << '"';
}

TEST(Integers, ReadLeadingWhiteSpaceOneSignAndDigits) {
  expectBoth("1", 1);
  expectBoth(" 1", 1);
  expectBoth("0001", 1);
  expectBoth(" \t\n\v\f\r 17", 17);
  expectBoth("+7", 7);
  expectBoth("-7", -7);
  expectBoth("-0", 0);
}

TEST(Integers, StopAtTheFirstOtherCharacter) {
  expectBoth("12abc", 12);
  expectBoth("1.9", 1);
  expectBoth("1e3", 1);
  expectBoth("1 2", 1);
  expectBoth("1-2", 1);
  expectBoth(std::string_view("1\0002", 3), 1);
  expectBoth("1\u0662", 1);
}

TEST(Integers, AreZeroWithoutDigits) {
  for (const char* text :
       {"", " ", "-", "+", "abc", "+-1", "--1", "- 1", "x1", "\u00A01", "\u0661"}) {
    expectBoth(text, 0);
  }
  expectBoth(std::string_view(), 0);
}

TEST(Integers, SaturateAtTheEndsOfTheirWidth) {
  EXPECT_EQ(intValue("2147483647"sv), kHighest32);
  EXPECT_EQ(intValue("2147483648"sv), kHighest32);
  EXPECT_EQ(intValue("4294967297"sv), kHighest32);
  EXPECT_EQ(intValue("-2147483648"sv), kLowest32);
  EXPECT_EQ(intValue("-2147483649"sv), kLowest32);
  EXPECT_EQ(longLongValue("2147483648"sv), 2147483648);
  EXPECT_EQ(longLongValue("9223372036854775807"sv), kHighest64);
  EXPECT_EQ(longLongValue("9223372036854775808"sv), kHighest64);
  EXPECT_EQ(longLongValue("-9223372036854775808"sv), kLowest64);
  EXPECT_EQ(longLongValue("-9223372036854775809"sv), kLowest64);
  EXPECT_EQ(longLongValue(std::string(100'000, '9')), kHighest64);
  EXPECT_EQ(intValue(std::string_view("-" + std::string(100'000, '9'))), kLowest32);
  EXPECT_EQ(intValue(std::string_view(std::string(100'000, '0') + "5")), 5);
}

TEST(Integers, KeepTheLow32BitsOfANumber) {
  EXPECT_EQ(intValue(Value(5)), 5);
  EXPECT_EQ(intValue(Value(-5)), -5);
  EXPECT_EQ(intValue(Value(std::int64_t{4294967296})), 0);
  EXPECT_EQ(intValue(Value(std::int64_t{4294967297})), 1);
  EXPECT_EQ(intValue(Value(std::int64_t{2147483648})), kLowest32);
  EXPECT_EQ(intValue(Value(kLowest64)), 0);
  EXPECT_EQ(intValue(Value(std::numeric_limits<std::uint64_t>::max())), -1);
}

TEST(Integers, CutADoubleTowardZeroFirst) {
  EXPECT_EQ(intValue(Value(1.9)), 1);
  EXPECT_EQ(intValue(Value(-1.9)), -1);
  EXPECT_EQ(intValue(Value(-0.5)), 0);
  EXPECT_EQ(intValue(Value(4294967297.5)), 1);
  EXPECT_EQ(intValue(Value(-4294967297.0)), -1);
}

TEST(Integers, ReadEqualIntegersAndDoublesAlike) {
  for (const std::uint64_t number :
       {std::uint64_t{1} << 53U, std::uint64_t{1} << 63U, (std::uint64_t{1} << 63U) + 2048}) {
    const Value integer(number);
    const Value real(static_cast<double>(number));
    ASSERT_EQ(integer, real);
    EXPECT_EQ(intValue(integer), intValue(real));
  }
}

TEST(Integers, NeverTakeADoubleBeyond64BitsForASmallNumber) {
  EXPECT_EQ(intValue(Value(1e300)), kHighest32);
  EXPECT_EQ(intValue(Value(18446744073709551616.0)), kHighest32);
  EXPECT_EQ(intValue(Value(-1e300)), kLowest32);
  EXPECT_EQ(intValue(Value(std::numeric_limits<double>::infinity())), kHighest32);
  EXPECT_EQ(intValue(Value(-std::numeric_limits<double>::infinity())), kLowest32);
  EXPECT_EQ(intValue(Value(std::numeric_limits<double>::quiet_NaN())), 0);
}

TEST(Integers, ReadAValueOfEveryOtherKind) {
  EXPECT_EQ(intValue(Value(" 12x")), 12);
  EXPECT_EQ(intValue(Value(true)), 1);
  EXPECT_EQ(intValue(Value(false)), 0);
  EXPECT_EQ(intValue(Value()), 0);
  EXPECT_EQ(intValue(Value(Array{1})), 0);
  EXPECT_EQ(intValue(Value(Dictionary{{"a", 1}})), 0);
  EXPECT_EQ(intValue(Value(Data("1"))), 0);
}

}  // namespace
}  // namespace orx
