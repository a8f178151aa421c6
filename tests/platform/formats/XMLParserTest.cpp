// SPDX-License-Identifier: MIT
#include <ORXAccount/platform/XMLParser.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <functional>
#include <string>

#include "platform/base/Limits.h"
#include "platform/base/Unicode.h"

namespace orx {

using namespace platform;
namespace {

using namespace std::string_view_literals;

// Writes down what is reported: "text" for characters (pieces joined), "/name" for an element's
// end,
// "!" for an error, "." for the document's end.
class Recorder : public XMLParserDelegate {
 public:
  void parser_foundCharacters(XMLParser&, std::string_view characters) override {
    report += characters;
  }
  void parser_didEndElement_namespaceURI_qualifiedName(
      XMLParser&, std::string_view name, std::optional<std::string_view> namespaceURI,
      std::optional<std::string_view> qualifiedName) override {
    EXPECT_FALSE(namespaceURI);
    EXPECT_FALSE(qualifiedName);
    (report += '/') += name;
    if (atElementEnd) atElementEnd();
  }
  void parser_parseErrorOccurred(XMLParser& parser, const std::shared_ptr<Error>& error) override {
    EXPECT_EQ(parser.parserError(), error);
    report += '!';
  }
  void parserDidEndDocument(XMLParser&) override { report += '.'; }

  std::string report;
  std::function<void()> atElementEnd;
};

struct ParserReport {
  std::string report;
  std::shared_ptr<Error> error;
  std::string description() const { return error ? error->localizedDescription() : "no error"; }
};

ParserReport run(const std::shared_ptr<XMLParser>& parser) {
  const auto recorder = std::make_shared<Recorder>();
  parser->setDelegate(recorder);
  EXPECT_EQ(parser->parserError(), nullptr);
  const bool good = parser->parse();
  EXPECT_EQ(good, parser->parserError() == nullptr);
  if (!good) {
    EXPECT_EQ(parser->parserError()->domain(), NSXMLParserErrorDomain);
  }
  return {recorder->report, parser->parserError()};
}

ParserReport runData(std::string_view bytes) { return run(XMLParser::initWithData(Data(bytes))); }
ParserReport runText(std::string_view text) { return run(XMLParser::initWithText(Data(text))); }

TEST(XMLParser, ReportsCharactersElementEndsAndTheDocumentEnd) {
  EXPECT_EQ(runData("<r><login>a</login><email>b</email></r>").report, "a/loginb/email/r.");
  EXPECT_EQ(runData("<r>\n  <nick/>\n</r>\n").report, "\n  /nick\n/r.");
  EXPECT_EQ(runData("<a>x<b>y</b></a>").report, "xy/b/a.");
}

TEST(XMLParser, GivesNamesAsWritten) {
  EXPECT_EQ(runData("<soap:E xmlns:soap='urn:x'><soap:B/></soap:E>").report, "/soap:B/soap:E.");
  EXPECT_EQ(runData("<unbound:r/>").report, "/unbound:r.");
}

TEST(XMLParser, DecodesReferencesAndLineEnds) {
  EXPECT_EQ(runData("<r>&lt;a&gt;&amp;amp;&quot;&apos;&#65;&#x1F600;\r\nb</r>").report,
            "<a>&amp;\"'A\U0001F600\nb/r.");
}

TEST(XMLParser, KeepsCDATAApart) {
  EXPECT_EQ(runData("<r>a<![CDATA[b<c>&amp;]]>d</r>").report, "ad/r.");
  EXPECT_EQ(runData("<r><![CDATA[b]]></r>").report, "/r.");
}

TEST(XMLParser, ReadsDataInTheDeclaredEncoding) {
  EXPECT_EQ(runData("<?xml version='1.0' encoding='iso-8859-1'?><r>\xE9</r>").report, "\u00E9/r.");
  EXPECT_EQ(runData("\xEF\xBB\xBF<r>\u00E9</r>").report, "\u00E9/r.");
  EXPECT_EQ(runData("\xFF\xFE<\0r\0/\0>\0"sv).report, "/r.");
  EXPECT_EQ(runData("<?xml version='1.0' encoding='utf-16'?><r/>").report, "!.");
}

TEST(XMLParser, ReadsTextAsUTF8WhateverItDeclares) {
  for (const char* encoding : {"utf-16", "UTF-16LE", "iso-8859-1", "windows-1252", "no-such"}) {
    const std::string declaration =
        std::string("<?xml version=\"1.0\" encoding=\"") + encoding + "\"?>";
    EXPECT_EQ(runText(declaration + "<r>\u00E9</r>").report, "\u00E9/r.") << encoding;
  }
  EXPECT_EQ(runText("\xEF\xBB\xBF<r/>").report, "/r.");
  EXPECT_EQ(runText("\xFF\xFE<\0r\0/\0>\0"sv).report, "!.");
  EXPECT_EQ(runText("<\0r\0/\0>\0"sv).report, "!.");
  EXPECT_EQ(runText("\0<\0r\0/\0>"sv).report, "!.");
}

TEST(XMLParser, SaysWhereAndWhyADocumentIsMalformed) {
  const ParserReport mismatch = runData("<r>\n  <a></b></r>");
  EXPECT_EQ(mismatch.report, "\n  !.");
  EXPECT_EQ(mismatch.error->code(), 7);
  EXPECT_EQ(mismatch.description(),
            "The text is not well-formed XML: line 2, column 8: mismatched tag.");
  // A null byte behind the second one does not make the text UTF-16.
  EXPECT_EQ(runText("<r\0/>"sv).description(),
            "The text is not well-formed XML: line 1, column 3: not well-formed (invalid token).");
  const ParserReport empty = runData("");
  EXPECT_EQ(empty.report, "!.");
  EXPECT_EQ(empty.error->code(), 3);
  EXPECT_EQ(empty.description(),
            "The text is not well-formed XML: line 1, column 1: no element found.");
}

TEST(XMLParser, RefusesMalformedDocuments) {
  for (const std::string_view text :
       {" \n"sv, "text"sv, "<r>"sv, "<r/><r/>"sv, "<r/>x"sv, "<r a='1' a='2'/>"sv, "<r a=1/>"sv,
        "<r>\0</r>"sv, "<r/>\0"sv, "<r>\x01</r>"sv, "<r>&#0;</r>"sv, "<r>&undeclared;</r>"sv,
        "<r>\xFF</r>"sv, "<r>\xC0\xAF</r>"sv, "<r>\xED\xA0\x80</r>"sv, "<r><![CDATA[</r>"sv,
        " <?xml version='1.0'?><r/>"sv, "<!DOCTYPE html><html><br></html>"sv, "{}"sv}) {
    for (const ParserReport& outcome : {runData(text), runText(text)}) {
      ASSERT_NE(outcome.error, nullptr) << text;
      EXPECT_TRUE(outcome.report.ends_with("!.")) << outcome.report;
      EXPECT_EQ(std::ranges::count(outcome.report, '.'), 1);
      EXPECT_EQ(std::ranges::count(outcome.report, '!'), 1);
    }
  }
}

TEST(XMLParser, SkipsExternalEntities) {
  EXPECT_EQ(runData("<!DOCTYPE r [<!ENTITY e SYSTEM 'file:///etc/passwd'>]><r>a&e;b</r>").report,
            "ab/r.");
  EXPECT_EQ(runData("<!DOCTYPE r SYSTEM 'http://127.0.0.1:1/x.dtd'><r>a&unknown;b</r>").report,
            "ab/r.");
  EXPECT_EQ(runData("<!DOCTYPE r [<!ENTITY % p SYSTEM 'file:///etc/passwd'>%p;]><r>a</r>").report,
            "a/r.");
  EXPECT_EQ(runData("<!DOCTYPE r [<!ENTITY e SYSTEM 'file:///etc/passwd'>]><r a='&e;'/>").report,
            "!.");
}

TEST(XMLParser, ExpandsSmallInternalEntitiesAndStopsLargeOnes) {
  EXPECT_EQ(runData("<!DOCTYPE r [<!ENTITY e 'x'>]><r>a&e;b</r>").report, "axb/r.");
  std::string laughs = "<!DOCTYPE r [<!ENTITY e0 'lol'>";
  for (int level = 1; level < 10; ++level) {
    const std::string below = "&e" + std::to_string(level - 1) + ";";
    laughs += "<!ENTITY e" + std::to_string(level) + " '";
    for (int copy = 0; copy < 10; ++copy) laughs += below;
    laughs += "'>";
  }
  const ParserReport outcome = runData(laughs + "]><r>&e9;</r>");
  ASSERT_NE(outcome.error, nullptr);
  EXPECT_LT(outcome.report.size(), 2 * limits::xmlAmplificationThreshold);
  std::string quadratic = "<!DOCTYPE r [<!ENTITY e '" + std::string(50'000, 'x') + "'>]><r>";
  for (int copy = 0; copy < 10'000; ++copy) quadratic += "&e;";
  const ParserReport second = runData(quadratic + "</r>");
  ASSERT_NE(second.error, nullptr);
  EXPECT_LT(second.report.size(), 2'000'000U);
}

TEST(XMLParser, StopsAtLongChainsOfEntities) {
  std::string chain = "<!DOCTYPE r [<!ENTITY e0 'x'>";
  for (int level = 1; level < 200'000; ++level) {
    chain += "<!ENTITY e" + std::to_string(level) + " '&e" + std::to_string(level - 1) + ";'>";
  }
  const ParserReport content = runData(chain + "]><r>&e199999;</r>");
  EXPECT_EQ(content.report, "!.");
  EXPECT_EQ(content.description().substr(content.description().find("more")),
            "more than 256 declarations.");
  EXPECT_EQ(runData(chain + "]><r a='&e199999;'/>").report, "!.");
  EXPECT_EQ(runData("<!DOCTYPE r [<!ENTITY a '&b;'><!ENTITY b '&a;'>]><r>&a;</r>").report, "!.");
}

TEST(XMLParser, CountsAllDeclarationsTogether) {
  const auto readWith = [](std::size_t declarations) {
    std::string type = "<!DOCTYPE r [<!ELEMENT r (#PCDATA)>";
    for (std::size_t number = 0; number < declarations; ++number) {
      const std::string name = "d" + std::to_string(number);
      const std::array kinds{"<!ENTITY " + name + " 'x'>",
                             "<!ATTLIST r " + name + " CDATA #IMPLIED>",
                             "<!NOTATION " + name + " PUBLIC 'x'>"};
      type += kinds[number % kinds.size()];
    }
    return runData(type + "]><r>&d0;</r>");
  };
  EXPECT_EQ(readWith(limits::xmlDeclarations).report, "x/r.");
  const ParserReport more = readWith(limits::xmlDeclarations + 1);
  EXPECT_EQ(more.report, "!.");
  EXPECT_NE(more.description().find("more than 256 declarations"), std::string::npos);
}

TEST(XMLParser, RefusesMoreElementsThanItsLimit) {
  std::string document = "<r>";
  for (std::size_t element = 0; element < limits::xmlElements; ++element) document += "<a/>";
  const ParserReport outcome = runData(document + "</r>");
  EXPECT_NE(outcome.description().find("more than 1000000 elements"), std::string::npos);
}

TEST(XMLParser, NestsToTheLimitAndNoDeeper) {
  const auto nested = [](std::size_t depth) {
    std::string text;
    for (std::size_t level = 0; level < depth; ++level) text += "<a>";
    for (std::size_t level = 0; level < depth; ++level) text += "</a>";
    return text;
  };
  EXPECT_EQ(runData(nested(limits::xmlDepth)).error, nullptr);
  const ParserReport deeper = runData(nested(limits::xmlDepth + 1));
  EXPECT_EQ(deeper.report, "!.");
  EXPECT_EQ(deeper.description(),
            "The text is not well-formed XML: line 1, column 3073: elements are nested more than "
            "1024 deep.");
  EXPECT_EQ(runData(nested(100'000)).report, "!.");
  // The element that goes below the limit is not reported although it ends at once.
  std::string empty;
  for (std::size_t level = 0; level < limits::xmlDepth; ++level) empty += "<a>";
  EXPECT_EQ(runData(empty + "<b/>").report, "!.");
}

TEST(XMLParser, SurvivesADocumentCutAnywhere) {
  const std::string whole =
      "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n<s:E xmlns:s='urn:x'><ResultCode>0</ResultCode>"
      "<!-- c --><?p i?><d>\u00E9&lt;&#x20AC;</d><![CDATA[x]]></s:E>";
  EXPECT_EQ(runData(whole).error, nullptr);
  for (std::size_t size = 0; size < whole.size(); ++size) {
    for (const ParserReport& outcome :
         {runData(whole.substr(0, size)), runText(whole.substr(0, size))}) {
      EXPECT_TRUE(outcome.report.ends_with("!.")) << size;
      EXPECT_TRUE(isValidUTF8(outcome.report)) << size;
    }
  }
}

TEST(XMLParser, RunsOnce) {
  const auto parser = XMLParser::initWithData(Data("<r>a</r>"));
  const auto recorder = std::make_shared<Recorder>();
  parser->setDelegate(recorder);
  EXPECT_TRUE(parser->parse());
  EXPECT_FALSE(parser->parse());
  EXPECT_EQ(parser->parserError(), nullptr);
  EXPECT_EQ(recorder->report, "a/r.");
}

TEST(XMLParser, DoesNothingWhenRunFromItsOwnReport) {
  const auto parser = XMLParser::initWithData(Data("<r>a</r>"));
  const auto recorder = std::make_shared<Recorder>();
  recorder->atElementEnd = [&] { EXPECT_FALSE(parser->parse()); };
  parser->setDelegate(recorder);
  EXPECT_TRUE(parser->parse());
  EXPECT_EQ(recorder->report, "a/r.");
}

TEST(XMLParser, OutlivesTheLastReferenceDroppedByItsDelegate) {
  auto parser = XMLParser::initWithData(Data("<r><a/><b/></r>"));
  const std::weak_ptr<XMLParser> watched = parser;
  const auto recorder = std::make_shared<Recorder>();
  recorder->atElementEnd = [&] { parser.reset(); };
  parser->setDelegate(recorder);
  EXPECT_TRUE(parser->parse());
  EXPECT_EQ(recorder->report, "/a/b/r.");
  EXPECT_TRUE(watched.expired());
}

TEST(XMLParser, ReportsToTheDelegateOfTheMoment) {
  const auto parser = XMLParser::initWithData(Data("<r><a/><b/></r>"));
  const auto second = std::make_shared<Recorder>();
  auto first = std::make_shared<Recorder>();
  std::string reportOfFirst;
  first->atElementEnd = [&] {
    reportOfFirst = first->report;
    parser->setDelegate(second);
    // Held by the parser for the length of this report, and by nobody after it.
    first.reset();
  };
  parser->setDelegate(first);
  EXPECT_TRUE(parser->parse());
  EXPECT_EQ(reportOfFirst, "/a");
  EXPECT_EQ(second->report, "/b/r.");
}

TEST(XMLParser, HoldsItsDelegateWeakly) {
  const auto parser = XMLParser::initWithData(Data("<r>"));
  auto recorder = std::make_shared<Recorder>();
  const std::weak_ptr<Recorder> watched = recorder;
  parser->setDelegate(recorder);
  EXPECT_EQ(parser->delegate(), recorder);
  recorder.reset();
  EXPECT_TRUE(watched.expired());
  EXPECT_EQ(parser->delegate(), nullptr);
  EXPECT_FALSE(parser->parse());
  EXPECT_NE(parser->parserError(), nullptr);
}

TEST(XMLParser, NeedsNoOperationOfItsDelegate) {
  const auto delegate = std::make_shared<XMLParserDelegate>();
  const auto parser = XMLParser::initWithData(Data("<r>a</r"));
  parser->setDelegate(delegate);
  EXPECT_FALSE(parser->parse());
}

TEST(XMLParser, GivesWhatADelegateThrowsToWhoeverRunsTheParse) {
  for (const std::string_view text : {"<a/>", "<r><a/><b/></r>"}) {
    const auto parser = XMLParser::initWithData(Data(text));
    const auto recorder = std::make_shared<Recorder>();
    recorder->atElementEnd = [] { throw std::runtime_error("must not cross the parser"); };
    parser->setDelegate(recorder);
    EXPECT_THROW(parser->parse(), std::runtime_error);
    EXPECT_EQ(recorder->report, "/a");
  }
}

template <typename Parser>
constexpr bool kTakesATemporaryDelegate = requires(Parser& parser) {
  parser.setDelegate(std::make_shared<Recorder>());
};

TEST(XMLParser, RefusesADelegateThatNobodyElseHoldsWhenItIsCompiled) {
  static_assert(!kTakesATemporaryDelegate<XMLParser>);
}

}  // namespace
}  // namespace orx
