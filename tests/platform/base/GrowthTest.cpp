// SPDX-License-Identifier: MIT
#include <ORXAccount/platform/Dictionary.h>

#include "platform/base/Base64.h"
#include "platform/base/DateFormatter.h"
#include "platform/base/Integers.h"
#include "platform/base/Unicode.h"
#include "support/Growth.h"

namespace orx::testing {

using namespace platform;
namespace {

TEST(Growth, OfTheTimeForIntegersIsLinear) {
  expectLinearTime({{"", "1"}, {"", " ", "1"}, {"-", "0"}, {"", "-"}}, [](std::string_view text) {
    (void)intValue(text);
    (void)longLongValue(text);
  });
}

TEST(Growth, OfTheTimeForDatesIsLinear) {
  expectLinearTime({{"2000-01-01T00:00:00", "0"}, {"", "2000-"}, {"", " "}},
                   [](std::string_view text) { (void)dateFromString(text); });
}

TEST(Growth, OfTheTimeForBase64IsLinear) {
  expectLinearTime({{"", "AAAA"}, {"", "===="}}, [](std::string_view text) {
    (void)dataFromBase64(text);
    (void)base64Of(Data(text));
  });
}

TEST(Growth, OfTheTimeForUnicodeIsLinear) {
  expectLinearTime({{"", "a"}, {"", "\u4E2D"}, {"", "\U0001F600"}, {"", "\u0301"}, {"", "\xE4"}},
                   [](std::string_view text) {
                     (void)isValidUTF8(text);
                     (void)utf16FromUTF8(text);
                     (void)lowercasingFirstUTF16Unit(text);
                   });
}

TEST(Growth, OfTheTimeForDictionariesIsLinear) {
  expectLinearTime({{"", "k@,"}}, [](const std::string& text) {
    Dictionary dictionary;
    for (std::size_t begin = 0; begin < text.size();) {
      const std::size_t end = text.find(',', begin);
      dictionary.set(text.substr(begin, end - begin), 1);
      begin = end + 1;
    }
    EXPECT_EQ(dictionary, Dictionary(dictionary));
  });
}

}  // namespace
}  // namespace orx::testing
