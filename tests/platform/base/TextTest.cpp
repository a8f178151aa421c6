// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <cstdint>
#include <limits>

#include "platform/base/Text.h"

namespace orx::platform {
namespace {

using namespace std::string_view_literals;

TEST(Text, ComparesASCIILettersWithoutRegardToCase) {
  EXPECT_TRUE(equalsIgnoringCase("Content-Type", "cONTENT-tYPE"));
  EXPECT_TRUE(equalsIgnoringCase("", ""));
  EXPECT_FALSE(equalsIgnoringCase("a", "ab"));
  EXPECT_FALSE(equalsIgnoringCase("a\0b"sv, "a\0c"sv));
  // One bit apart, as the two cases of a letter are.
  EXPECT_FALSE(equalsIgnoringCase("@", "`"));
  EXPECT_FALSE(equalsIgnoringCase("[", "{"));
  EXPECT_FALSE(equalsIgnoringCase("\u00C9", "\u00E9"));
}

TEST(Text, LosesBlanksAndLineEndsAtItsEndsOnly) {
  EXPECT_EQ(trimmed(" \t a b\r\n"), "a b");
  EXPECT_EQ(trimmed("a"), "a");
  EXPECT_EQ(trimmed(" \r\n"), "");
  EXPECT_EQ(trimmed(""), "");
}

TEST(Text, GivesTheFewestDigitsOfANumber) {
  EXPECT_EQ(numberText(100000.0), "100000");
  EXPECT_EQ(numberText(-0.00001), "-0.00001");
  EXPECT_EQ(numberText(-0.0), "-0");
  EXPECT_EQ(numberText(0.1), "0.1");
  EXPECT_EQ(numberText(-1.5e300), "-1.5e+300");
  EXPECT_EQ(numberText(std::numeric_limits<std::int64_t>::min()), "-9223372036854775808");
  EXPECT_EQ(numberText(std::numeric_limits<double>::denorm_min()), "5e-324");
}

}  // namespace
}  // namespace orx::platform
