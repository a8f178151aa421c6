// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <cstdint>
#include <limits>

#include "platform/base/Text.h"

namespace orx::platform {
namespace {

using namespace std::string_view_literals;

TEST(Text, KnowsTheLettersOfASCIIAlone) {
  constexpr auto small = "abcdefghijklmnopqrstuvwxyz"sv;
  constexpr auto large = "ABCDEFGHIJKLMNOPQRSTUVWXYZ"sv;
  for (int code = 0; code < 256; ++code) {
    const char character = static_cast<char>(code);
    const auto place = large.find(character);
    EXPECT_EQ(lowerCase(character), place < large.size() ? small[place] : character) << code;
    EXPECT_EQ(isLetter(character), place < large.size() || small.find(character) < small.size())
        << code;
  }
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
