// SPDX-License-Identifier: MIT
#include <ORXAccount/platform/XMLParser.h>
#include <gtest/gtest.h>
#include <malloc.h>

#include <mutex>
#include <string>
#include <thread>

#include "platform/process/ForkSafety.h"
#include "support/Await.h"

namespace orx {
namespace {

using namespace std::string_view_literals;

class Gatherer : public XMLParserDelegate {
 public:
  void parser_foundCharacters(XMLParser&, std::string_view characters) override {
    text += characters;
  }

  std::string text;
};

// A document whose declaration names this encoding and whose one element holds these bytes.
std::string documentIn(std::string_view encoding, std::string_view content) {
  return "<?xml version=\"1.0\" encoding=\"" + std::string(encoding) + "\"?>\n<r>" +
         std::string(content) + "</r>";
}

// What the parse of a document came to: the text, or the error.
struct Reading {
  std::string text;
  std::shared_ptr<Error> error;
  std::int64_t code() const { return error ? error->code() : 0; }
};

Reading read(std::string_view document) {
  const auto parser = XMLParser::initWithData(Data(document));
  const auto gatherer = std::make_shared<Gatherer>();
  parser->setDelegate(gatherer);
  parser->parse();
  return {gatherer->text, parser->parserError()};
}

Reading readIn(std::string_view encoding, std::string_view content) {
  return read(documentIn(encoding, content));
}

constexpr std::int64_t kNoElementEnd = 3;
constexpr std::int64_t kInvalidToken = 4;
constexpr std::int64_t kUnknownEncoding = 18;

TEST(XMLEncoding, ReadsWhatTheSystemKnows) {
  EXPECT_EQ(readIn("windows-1252", "\x80 \xE9").text, "\u20AC \u00E9");
  EXPECT_EQ(readIn("ISO-8859-2", "\xB1").text, "\u0105");
  EXPECT_EQ(readIn("iso-8859-15", "\xA4").text, "\u20AC");
  EXPECT_EQ(readIn("GB2312", "\xD6\xD0\xCE\xC4").text, "\u4E2D\u6587");
  EXPECT_EQ(readIn("gbk", "\xE9\x46").text, "\u9555");
  EXPECT_EQ(readIn("GB18030", "\x95\x32\x82\x36").text, "\U00020000");
}

// Under the address sanitizer the allocator counts nothing, and the leak check tells instead.
TEST(XMLEncoding, GivesBackTheMemoryOfEachConversion) {
  const auto taken = [] { return mallinfo2().uordblks; };
  readIn("GB18030", "a");
  const auto before = taken();
  for (int reading = 0; reading < 100; ++reading) readIn("GB18030", "a");
  // One conversion holds more than 100 bytes.
  EXPECT_LT(taken(), before + 10'000);
}

// The second byte of these is a backslash.
TEST(XMLEncoding, TakesCharactersOfSeveralBytesWhole) {
  EXPECT_EQ(readIn("Big5", "\xA4\xA4\xA5\x5C").text, "\u4E2D\u529F");
  EXPECT_EQ(readIn("Shift_JIS", "\x93\xFA\x83\x5C").text, "\u65E5\u30BD");
}

TEST(XMLEncoding, ReadsTextOfAnyLength) {
  std::string bytes = "a";
  std::string text = "a";
  for (int character = 0; character < 100'000; ++character) {
    bytes += "\xD6\xD0";
    text += "\u4E2D";
  }
  const Reading reading = readIn("GBK", bytes);
  EXPECT_EQ(reading.error, nullptr);
  EXPECT_EQ(reading.text, text);
}

TEST(XMLEncoding, DecodesReferencesAndReadsElementsBehindTheDeclaration) {
  EXPECT_EQ(readIn("GBK", "\xD6\xD0&lt;<b>\xCE\xC4</b>&#x4E2D;").text, "\u4E2D<\u6587\u4E2D");
}

TEST(XMLEncoding, RefusesNamesThatTheSystemDoesNotKnow) {
  for (const std::string_view name : {"no-such", "x", "GB2312-"}) {
    const Reading reading = readIn(name, "a");
    EXPECT_EQ(reading.code(), kUnknownEncoding) << name;
    EXPECT_EQ(reading.text, "");
  }
}

// Names can give the system's converter orders, such as to leave out what it cannot convert.
TEST(XMLEncoding, TakesNoOrdersFromAName) {
  for (const std::string_view name : {"GBK//IGNORE", "GBK//TRANSLIT", "GBK,", "/", ""}) {
    EXPECT_NE(readIn(name, "\xFF").error, nullptr) << name;
  }
}

TEST(XMLEncoding, SaysWhereBytesAreNoText) {
  const Reading reading = readIn("GBK", "\xD6\xD0\xFF\xFF");
  EXPECT_EQ(reading.code(), kInvalidToken);
  EXPECT_EQ(reading.error->localizedDescription(),
            "The text is not well-formed XML: line 2, column 5: not well-formed (invalid token).");
  EXPECT_EQ(read("<?xml version='1.0' encoding='GBK'?><r>\xD6").code(), kInvalidToken);
}

// A letter of Hebrew is kept back until it is known whether a point follows it.
TEST(XMLEncoding, KeepsTheLetterBeforeBytesThatAreNoText) {
  const Reading reading = readIn("windows-1255", "\xE0\xFF");
  EXPECT_EQ(reading.text, "\u05D0");
  EXPECT_EQ(reading.error->localizedDescription(),
            "The text is not well-formed XML: line 2, column 5: not well-formed (invalid token).");
  EXPECT_EQ(readIn("windows-1255", "\xE0").text, "\u05D0");
}

// What follows an escape sequence is read by its rules, whether the text ends there or not.
TEST(XMLEncoding, ReadsTextThatChangesItsAlphabet) {
  EXPECT_EQ(readIn("ISO-2022-JP", "a\x1B$B\x46\x7C\x1B(Bb").text, "a\u65E5b");
  EXPECT_EQ(readIn("ISO-2022-JP", "\x1B$B\x46\x7C").code(), kNoElementEnd);
  EXPECT_EQ(readIn("UTF-7", "a+AOk-b").text, "a\u00E9b");
  const std::string declaration = "<?xml version='1.0' encoding='ISO-2022-JP'?><r/>";
  for (const std::string_view cut : {"\x1B", "\x1B$", "\x1B$B\x46"}) {
    EXPECT_EQ(read(declaration + std::string(cut)).code(), kInvalidToken);
  }
}

TEST(XMLEncoding, BelievesAMarkRatherThanTheDeclaration) {
  EXPECT_EQ(read("\xEF\xBB\xBF" + documentIn("GB2312", "\u4E2D")).text, "\u4E2D");
}

// Each of these bytes is four characters, which are twelve bytes.
TEST(XMLEncoding, DoesNotLetATextGrowWithoutBounds) {
  EXPECT_EQ(readIn("TSCII", "\x82").text, "\u0BB8\u0BCD\u0BB0\u0BC0");
  EXPECT_EQ(readIn("TSCII", std::string(100'000, '\x82')).code(), kInvalidToken);
}

// iconv has locks of its own. A child that is made while another thread holds one of them would
// find it locked for ever.
TEST(XMLEncoding, IsLookedUpAtNoMomentAtWhichAForkHappens) {
  std::string text;
  testing::Event done;
  std::unique_lock fork(platform::forkLocks.encodings);
  std::thread reader([&] {
    text = readIn("GBK", "\xD6\xD0").text;
    done.set();
  });
  EXPECT_FALSE(done.wait(std::chrono::milliseconds(100)));
  fork.unlock();
  reader.join();
  EXPECT_EQ(text, "\u4E2D");
}

// Its own declaration has been true of the text before somebody decoded it.
TEST(XMLEncoding, IsUTF8InDecodedTextWhateverItDeclares) {
  const auto parser = XMLParser::initWithText(Data(documentIn("GB2312", "\u4E2D")));
  const auto gatherer = std::make_shared<Gatherer>();
  parser->setDelegate(gatherer);
  EXPECT_TRUE(parser->parse());
  EXPECT_EQ(gatherer->text, "\u4E2D");
}

}  // namespace
}  // namespace orx
