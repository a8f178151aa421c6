// SPDX-License-Identifier: MIT
#include <ORXAccount/platform/XMLParser.h>
#include <gtest/gtest.h>

#include <new>
#include <string>

#include "allocations/FailingAllocation.h"
#include "platform/formats/JSONSerialization.h"

// What readers do when memory runs out, at each allocation that they make.
namespace orx::testing {

using namespace platform;
namespace {

using namespace std::string_view_literals;

TEST(JSONReaderWithoutMemory, SaysNothingOfTheText) {
  for (const std::string_view text :
       {R"([{"a long enough key":"a long enough text","b\n":[1,2.5,{}]},[[]]])"sv, "[1,]"sv,
        "\xFF\xFE[\0\x31\0]\0"sv}) {
    const auto expected = JSONObjectWithText(text);
    withEachAllocationFailing([&](auto begin, auto end) {
      Result<Value> reading;
      begin();
      try {
        reading = JSONObjectWithText(text);
      } catch (const std::bad_alloc&) {
        end();
        return;
      }
      end();
      ASSERT_EQ(reading.has_value(), expected.has_value());
      EXPECT_EQ(reading.value_or(Value()), expected.value_or(Value()));
    });
  }
}

// Keeps what it is told, for which it needs memory too.
class Gatherer : public XMLParserDelegate {
 public:
  void parser_foundCharacters(XMLParser&, std::string_view characters) override {
    text += characters;
  }
  void parser_didEndElement_namespaceURI_qualifiedName(XMLParser&, std::string_view name,
                                                       std::optional<std::string_view>,
                                                       std::optional<std::string_view>) override {
    text += name;
  }
  void parser_parseErrorOccurred(XMLParser&, const std::shared_ptr<Error>&) override { ++errors; }
  void parserDidEndDocument(XMLParser&) override { ++ends; }

  std::string text;
  int errors = 0;
  int ends = 0;
};

void parseWithEachAllocationFailing(const std::string& document) {
  bool hasRunOut = false;
  withEachAllocationFailing([&](auto begin, auto end) {
    const auto parser = XMLParser::initWithData(Data(document));
    const auto gatherer = std::make_shared<Gatherer>();
    parser->setDelegate(gatherer);
    begin();
    const bool isGood = parser->parse();
    end();
    EXPECT_EQ(gatherer->errors, isGood ? 0 : 1);
    EXPECT_EQ(gatherer->ends, 1);
    if (isGood) return;
    EXPECT_EQ(parser->parserError()->domain(), NSXMLParserErrorDomain);
    if (parser->parserError()->code() != 1) return;
    hasRunOut = true;
    EXPECT_EQ(parser->parserError()->localizedDescription(),
              "The XML could not be read: memory has run out.");
  });
  EXPECT_TRUE(hasRunOut) << document;
}

TEST(XMLParserWithoutMemory, ReportsAnErrorAndTheEnd) {
  const std::string text(100, 't');
  parseWithEachAllocationFailing("<r><a>" + text + "</a>" + text + "<b>" + text + "</b></r>");
  parseWithEachAllocationFailing("<?xml version='1.0' encoding='GBK'?><r>" + text + "</r>");
  parseWithEachAllocationFailing("<r>" + text + "</wrong>");
  std::string tooDeep;
  for (int level = 0; level < 2000; ++level) tooDeep += "<a>";
  parseWithEachAllocationFailing(tooDeep);
}

}  // namespace
}  // namespace orx::testing
