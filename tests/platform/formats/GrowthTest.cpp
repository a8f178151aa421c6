// SPDX-License-Identifier: MIT
#include <ORXAccount/platform/XMLParser.h>

#include "platform/formats/JSONSerialization.h"
#include "platform/formats/KeyedArchiver.h"
#include "platform/formats/KeyedUnarchiver.h"
#include "support/Growth.h"

namespace orx::testing {

using namespace platform;
namespace {

void readJSON(std::string_view text) { (void)JSONObjectWithText(text, LargeIntegers::Text); }

TEST(Growth, OfTheTimeForJSONIsLinear) {
  expectLinearTime(
      {
          {"[0", ",1", "]"},
          {"[0", ",[]", "]"},
          {"[0", ",{\"a\":{}}", "]"},
          {"", "[", "", "", "]"},
          {"1", "2"},
          {"0.", "2"},
          {"1e-", "2"},
          {"[0", ",1e9", "]"},
          {"\"", "a", "\""},
          {"\"", "\\n", "\""},
          {"\"", "\\ud83d\\ude00", "\""},
          {"\"", "\u4E2D", "\""},
          {"\"", "\xE4\xB8"},
          {"", " \n", "1"},
          {"", "\n", "x"},
          {"[\"", "a\",\"", "\"]"},
          {"{\"\":0", ",\"@\":0", "}"},
          {"{\"\":0", ",\"kkkkkkkkkkkkkkkkkkkkkkkkkkkkkkkkkkkkkkkkkkkkkkkk@\":0", "}"},
          {"{\"\":0", ",\"k\":0", "}"},
          {"[0", ",{\"a@\":0}", "]"},
          {std::string("\xFF\xFE[\0", 4), std::string("[\0]\0,\0", 6)},
          {"1", std::string(1, '\0')},
      },
      readJSON);
}

TEST(Growth, OfTheTimeForWritingJSONIsLinear) {
  const auto write = [](const std::string& text) {
    Array array;
    Dictionary dictionary;
    for (std::size_t number = 0; number < text.size() / 16; ++number) {
      array.push_back(static_cast<double>(number) * 1e-3);
      dictionary.set(std::to_string(number), "text");
    }
    (void)textWithJSONObject(Array{Value(text), Value(array), Value(dictionary)});
  };
  expectLinearTime({{"", "a"}, {"", "\""}, {"", "\u4E2D"}}, write);
}

class Gatherer : public XMLParserDelegate {
 public:
  void parser_foundCharacters(XMLParser&, std::string_view characters) override {
    text += characters;
  }

  std::string text;
};

void readXML(std::string_view document) {
  const auto parser = XMLParser::initWithData(Data(document));
  const auto gatherer = std::make_shared<Gatherer>();
  parser->setDelegate(gatherer);
  parser->parse();
}

TEST(Growth, OfTheTimeForXMLIsLinear) {
  expectLinearTime(
      {
          {"<r>", "a", "</r>"},
          {"<r>", "\n", "</r>"},
          {"<r>", "\r\n", "</r>"},
          {"<r>", "\u4E2D", "</r>"},
          {"<r>", "&lt;", "</r>"},
          {"<r>", "&#x4E2D;", "</r>"},
          {"<r>", "]]", "</r>"},
          {"<r>", "<a/>", "</r>"},
          {"<r>", "<a>b</a>", "</r>"},
          {"<r>", "<a@/>", "</r>"},
          {"", "<a>", "", "", "</a>"},
          {"<", "a", "/>"},
          {"<r", " a@='b'", "/>"},
          {"<r a='", "b", "'/>"},
          {"<r a='", "&#65;", "'/>"},
          {"<r", " ", "/>"},
          {"<r>", "<!--a-->", "</r>"},
          {"<r><!--", "a- ", "--></r>"},
          {"<r>", "<?a b?>", "</r>"},
          {"<r>", "<![CDATA[a]]>", "</r>"},
          {"<r><![CDATA[", "a]]\n", "]]></r>"},
          {"<?xml version='1.0' encoding='GBK'?><r>", "\xD6\xD0", "</r>"},
          {"<?xml version='1.0' encoding='x", "x", "'?><r/>"},
          {"<r>", "</"},
          {"<r>", "<"},
      },
      readXML);
}

TEST(Growth, OfTheTimeForADocumentTypeIsLinear) {
  const std::string end = "]><r>&e;</r>";
  expectLinearTime(
      {
          {"<!DOCTYPE r [<!ATTLIST r", " a@ CDATA ''", ">" + end},
          {"<!DOCTYPE r [<!ATTLIST r", " a@ CDATA #IMPLIED", ">" + end},
          {"<!DOCTYPE r [", "<!ATTLIST r a@ CDATA ''>", end},
          {"<!DOCTYPE r [", "<!ATTLIST a@ b CDATA ''>", end},
          {"<!DOCTYPE r [", "<!ATTLIST r a CDATA ''>", end},
          {"<!DOCTYPE r [<!ATTLIST r", " a CDATA ''", ">" + end},
          {"<!DOCTYPE r [<!ATTLIST r a (x", "|v@", ") 'x'>" + end},
          {"<!DOCTYPE r [<!ATTLIST r a NOTATION (x", "|v@", ") 'x'>" + end},
          {"<!DOCTYPE r [<!ATTLIST r a CDATA '", "b", "'>" + end},
          {"<!DOCTYPE r [", "<!ELEMENT a@ EMPTY>", end},
          {"<!DOCTYPE r [<!ELEMENT r (x", "|v@", ")>" + end},
          {"<!DOCTYPE r [<!ELEMENT r (#PCDATA", "|v@", ")*>" + end},
          {"<!DOCTYPE r [<!ELEMENT r ", "(", ">" + end, "x", ")"},
          {"<!DOCTYPE r [", "<!NOTATION a@ SYSTEM 'b'>", end},
          {"<!DOCTYPE r [", "<!ENTITY e@ 'b'>", end},
          {"<!DOCTYPE r [", "<!ENTITY e 'b'>", end},
          {"<!DOCTYPE r [", "<!ENTITY % p@ 'b'>", end},
          {"<!DOCTYPE r [", "<!ENTITY u@ SYSTEM 'b' NDATA n>", end},
          {"<!DOCTYPE r [<!ENTITY e '", "b", "'>" + end},
          {"<!DOCTYPE r [<!ENTITY e '", "&#65;", "'>" + end},
          {"<!DOCTYPE r [<!ENTITY e 'b'>]><r>", "&e;", "</r>"},
          {"<!DOCTYPE r [<!ENTITY e ''>]><r a='", "&e;", "'/>"},
          {"<!DOCTYPE r [<!ENTITY % p ''>", "%p;", end},
          {"<!DOCTYPE r [", "%unknown;", end},
          {"<!DOCTYPE r [", "<!--a-->", end},
          {"<!DOCTYPE r [", "<?a b?>", end},
          {"<!DOCTYPE r [", " ", end},
          {"<!DOCTYPE ", "r", " [" + end},
          {"<!DOCTYPE r SYSTEM '", "r", "' [" + end},
      },
      readXML);
}

// Each element gets all the defaults that the document type declares for its name.
TEST(Growth, OfTheTimeForDefaultAttributesIsLinear) {
  std::string type = "<!DOCTYPE r [<!ATTLIST a";
  for (int number = 0; number < 200; ++number) type += " a" + std::to_string(number) + " CDATA ''";
  expectLinearTime({{type + ">]><r>", "<a/>", "</r>"},
                    {"<!DOCTYPE r [<!ATTLIST a", " a@ CDATA ''", "</r>", ">]><r>", "<a/>"}},
                   readXML);
}

void archiveAndRead(const Value& value) {
  EXPECT_TRUE(unarchiveObjectWithData(archivedDataWithRootObject(value)));
}

TEST(Growth, OfTheTimeForArchivesIsLinear) {
  expectLinearTime({{"", "@,"}}, [](const std::string& text) {
    Array numbers;
    Dictionary texts;
    for (std::size_t number = 0; number < text.size() / 64; ++number) {
      numbers.push_back(number);
      texts.set(std::to_string(number), text.substr(number, 32));
    }
    archiveAndRead(Array{Value(numbers), Value(texts)});
  });
  expectLinearTime({{"", "a"}, {"", "\u4E2D"}}, [](const std::string& text) {
    archiveAndRead(Array{Value(text), Value(Data(text))});
  });
}

}  // namespace
}  // namespace orx::testing
