#include <gtest/gtest.h>

#include "platform/base/UTF16.h"

namespace orx {

using namespace platform;
namespace {

using Units = std::vector<std::uint16_t>;
using Bytes = std::vector<std::uint8_t>;

TEST(UTF16, TakesEveryLengthOfCharacter) {
  EXPECT_EQ(utf16FromUTF8(""), Units());
  EXPECT_EQ(utf16FromUTF8(std::string_view("\0", 1)), Units{0});
  EXPECT_EQ(utf16FromUTF8("\x7f\u0080\u07ff\u0800\uffff"),
            (Units{0x7F, 0x80, 0x7FF, 0x800, 0xFFFF}));
  EXPECT_EQ(utf16FromUTF8("\U00010000\U0010ffff"), (Units{0xD800, 0xDC00, 0xDBFF, 0xDFFF}));
}

TEST(UTF16, RefusesWhatIsNotUTF8) {
  for (const std::string_view text :
       {"\x80", "\xbf", "\xc2", "\xe0\xa0", "\xf0\x90\x80", "\xff", "\xfe", "\xf8\x88\x80\x80\x80",
        "\xc1\xbf", "\xe0\x9f\xbf", "\xf0\x8f\xbf\xbf", "\xed\xa0\x80", "\xed\xbf\xbf",
        "\xf4\x90\x80\x80", "\xc2\x41"}) {
    EXPECT_EQ(utf16FromUTF8(text), std::nullopt);
  }
}

TEST(UTF16, GivesTheUTF8OfEveryLengthOfCharacter) {
  EXPECT_EQ(utf8FromUTF16BigEndian({}), "");
  EXPECT_EQ(
      utf8FromUTF16BigEndian(Bytes{0x00, 0x7F, 0x00, 0x80, 0x07, 0xFF, 0x08, 0x00, 0xFF, 0xFF}),
      "\x7f\u0080\u07ff\u0800\uffff");
  EXPECT_EQ(utf8FromUTF16BigEndian(Bytes{0xD8, 0x00, 0xDC, 0x00, 0xDB, 0xFF, 0xDF, 0xFF}),
            "\U00010000\U0010ffff");
}

TEST(UTF16, RefusesHalfAPairAndHalfAUnit) {
  EXPECT_EQ(utf8FromUTF16BigEndian(Bytes{0x00}), std::nullopt);
  EXPECT_EQ(utf8FromUTF16BigEndian(Bytes{0xD8, 0x00}), std::nullopt);
  EXPECT_EQ(utf8FromUTF16BigEndian(Bytes{0xD8, 0x00, 0x00, 0x41}), std::nullopt);
  EXPECT_EQ(utf8FromUTF16BigEndian(Bytes{0xDC, 0x00, 0xD8, 0x00}), std::nullopt);
  EXPECT_EQ(utf8FromUTF16BigEndian(Bytes{0xD8, 0x00, 0xD8, 0x00, 0xDC, 0x00}), std::nullopt);
}

}  // namespace
}  // namespace orx
