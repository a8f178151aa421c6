// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include "platform/base/Unicode.h"

namespace orx {

using namespace platform;
namespace {

using namespace std::string_view_literals;

TEST(Unicode, AcceptsEveryScalarValue) {
  EXPECT_TRUE(isValidUTF8(""));
  EXPECT_TRUE(isValidUTF8("plain ASCII, longer than one block of it"));
  EXPECT_TRUE(isValidUTF8("\0"sv));
  EXPECT_TRUE(isValidUTF8("\x7F\u0080\u07FF\u0800\uD7FF\uE000\uFFFD\uFFFF\U00010000\U0010FFFF"));
}

TEST(Unicode, RefusesWhatIsNotUTF8) {
  for (const std::string_view text : {"\x80"sv,
                                      "\xBF"sv,
                                      "\xC0\xAF"sv,
                                      "\xC1\xBF"sv,
                                      "\xE0\x80\xAF"sv,
                                      "\xE0\x9F\xBF"sv,
                                      "\xF0\x80\x80\xAF"sv,
                                      "\xF0\x8F\xBF\xBF"sv,
                                      "\xED\xA0\x80"sv,
                                      "\xED\xBF\xBF"sv,
                                      "\xF4\x90\x80\x80"sv,
                                      "\xF5\x80\x80\x80"sv,
                                      "\xF8\x88\x80\x80\x80"sv,
                                      "\xFE"sv,
                                      "\xFF"sv,
                                      "\xC3"sv,
                                      "\xE2\x82"sv,
                                      "\xF0\x9F\x98"sv,
                                      "\xC3("sv,
                                      "\xE2(\xA1"sv,
                                      "\xE2\x82("sv}) {
    EXPECT_FALSE(isValidUTF8(text)) << ::testing::PrintToString(text);
  }
}

TEST(Unicode, FindsABadByteWhereverItStands) {
  for (std::size_t position = 0; position < 40; ++position) {
    std::string text(40, 'a');
    text[position] = '\xFF';
    EXPECT_FALSE(isValidUTF8(text)) << position;
    EXPECT_TRUE(isValidUTF8(std::string(position, 'a') + "\u20AC" + std::string(9, 'b')));
    EXPECT_FALSE(isValidUTF8(std::string(position, 'a') + "\xE2\x82")) << position;
  }
}

TEST(Unicode, GivesOneCharacterAfterTheOther) {
  const std::string_view text("a\u0080\u07ff\u0800\uffff\U00010000\U0010ffff\0", 20);
  std::size_t position = 0;
  std::string again;
  for (const char32_t expected : {0x61, 0x80, 0x7FF, 0x800, 0xFFFF, 0x10000, 0x10FFFF, 0}) {
    EXPECT_EQ(nextCharacter(text, position), expected);
    appendCharacter(expected, again);
  }
  EXPECT_EQ(position, text.size());
  EXPECT_EQ(again, text);
}

TEST(Unicode, StaysBeforeWhatIsNoCharacter) {
  for (const std::string_view bad : {"\x80", "\xc2", "\xc1\xbf", "\xe0\xa0", "\xed\xa0\x80"}) {
    std::size_t position = 1;
    EXPECT_EQ(nextCharacter("a" + std::string(bad), position), std::nullopt);
    EXPECT_EQ(position, 1U);
  }
}

TEST(Unicode, LowersTheFirstLetterOnly) {
  EXPECT_EQ(lowercasingFirstUTF16Unit("Login"), "login");
  EXPECT_EQ(lowercasingFirstUTF16Unit("Cus_id"), "cus_id");
  EXPECT_EQ(lowercasingFirstUTF16Unit("EMail"), "eMail");
  EXPECT_EQ(lowercasingFirstUTF16Unit("URL"), "uRL");
  EXPECT_EQ(lowercasingFirstUTF16Unit("ticket"), "ticket");
  EXPECT_EQ(lowercasingFirstUTF16Unit("_X"), "_X");
  EXPECT_EQ(lowercasingFirstUTF16Unit("1A"), "1A");
  EXPECT_EQ(lowercasingFirstUTF16Unit("A"), "a");
  EXPECT_EQ(lowercasingFirstUTF16Unit("A\0B"sv), "a\0B"sv);
}

TEST(Unicode, LowersLettersBeyondASCII) {
  EXPECT_EQ(lowercasingFirstUTF16Unit("\u00C9lan"), "\u00E9lan");
  EXPECT_EQ(lowercasingFirstUTF16Unit("\u0416X"), "\u0436X");
  EXPECT_EQ(lowercasingFirstUTF16Unit("\u01C4x"), "\u01C6x");
  EXPECT_EQ(lowercasingFirstUTF16Unit("\u01C5x"), "\u01C6x");
  // A single unit has no place at a word's end: no final sigma.
  EXPECT_EQ(lowercasingFirstUTF16Unit("\u03A3"), "\u03C3");
}

TEST(Unicode, LowersLettersWhoseLengthChanges) {
  EXPECT_EQ(lowercasingFirstUTF16Unit("\u0130stanbul"), "i\u0307stanbul");
  EXPECT_EQ(lowercasingFirstUTF16Unit("\u023AB"), "\u2C65B");
  EXPECT_EQ(lowercasingFirstUTF16Unit("\u1E9EB"), "\u00DFB");
  EXPECT_EQ(lowercasingFirstUTF16Unit("\u212AB"), "kB");
  EXPECT_EQ(lowercasingFirstUTF16Unit("\u2126B"), "\u03C9B");
}

TEST(Unicode, LeavesTextsWithoutALetterOfOneUnitAlone) {
  EXPECT_EQ(lowercasingFirstUTF16Unit(""), "");
  // DESERET CAPITAL LETTER LONG I has a lower-case form, but takes two units.
  EXPECT_EQ(lowercasingFirstUTF16Unit("\U00010400x"), "\U00010400x");
  EXPECT_EQ(lowercasingFirstUTF16Unit("\u0301A"), "\u0301A");
  for (const std::string caseless : {"\u00AA", "\u01BB", "\u05D0", "\u4E2D", "\uAC00", "\uFFFF"}) {
    EXPECT_EQ(lowercasingFirstUTF16Unit(caseless + "X"), caseless + "X");
  }
  EXPECT_EQ(lowercasingFirstUTF16Unit("A\xFF"), "A\xFF");
  EXPECT_EQ(lowercasingFirstUTF16Unit("\xC3"), "\xC3");
}

TEST(Unicode, KnowsHowMuchOfATruncatedCharacterIsRight) {
  EXPECT_EQ(truncatedCharacterSize(""), 0U);
  EXPECT_EQ(truncatedCharacterSize("\x80"), 0U);
  EXPECT_EQ(truncatedCharacterSize("\xC1\xBF"), 0U);
  EXPECT_EQ(truncatedCharacterSize("\xF5\x80"), 0U);
  EXPECT_EQ(truncatedCharacterSize("\xC2"), 1U);
  EXPECT_EQ(truncatedCharacterSize("\xC2x"), 1U);
  EXPECT_EQ(truncatedCharacterSize("\xED\xA0\x80"), 1U);
  EXPECT_EQ(truncatedCharacterSize("\xE2\x82"), 2U);
  EXPECT_EQ(truncatedCharacterSize("\xE0\xA0x"), 2U);
  EXPECT_EQ(truncatedCharacterSize("\xF0\x9F\x98x"), 3U);
}

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
