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
          repeated("[0", ",1", "]"),
          repeated("[0", ",[]", "]"),
          repeated("[0", ",{\"a\":{}}", "]"),
          repeated("", "[", "", "]"),
          repeated("1", "2"),
          repeated("0.", "2"),
          repeated("1e-", "2"),
          repeated("[0", ",1e9", "]"),
          repeated("\"", "a", "\""),
          repeated("\"", "\\n", "\""),
          repeated("\"", "\\ud83d\\ude00", "\""),
          repeated("\"", "\u4E2D", "\""),
          repeated("\"", "\xE4\xB8"),
          repeated("", " \n", "1"),
          repeated("", "\n", "x"),
          repeated("[\"", "a\",\"", "\"]"),
          numbered("{\"\":0", ",\"@\":0", "}"),
          numbered("{\"\":0", ",\"kkkkkkkkkkkkkkkkkkkkkkkkkkkkkkkkkkkkkkkkkkkkkkkk@\":0", "}"),
          repeated("{\"\":0", ",\"k\":0", "}"),
          numbered("[0", ",{\"a@\":0}", "]"),
          repeated(std::string("\xFF\xFE[\0", 4), std::string("[\0]\0,\0", 6)),
          repeated("1", std::string(1, '\0')),
      },
      readJSON);
}

TEST(Growth, OfTheTimeForWritingJSONIsLinear) {
  const auto write = [](const std::string& text) {
    Array array;
    Dictionary dictionary;
    for (std::size_t number = 0; number < text.size() / 16; ++number) {
      array.emplace_back(number * 1e-3);
      dictionary.set(std::to_string(number), "text");
    }
    (void)textWithJSONObject(Array{Value(text), Value(array), Value(dictionary)});
  };
  expectLinearTime({repeated("", "a"), repeated("", "\""), repeated("", "\u4E2D")}, write);
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
          repeated("<r>", "a", "</r>"),
          repeated("<r>", "\n", "</r>"),
          repeated("<r>", "\r\n", "</r>"),
          repeated("<r>", "\u4E2D", "</r>"),
          repeated("<r>", "&lt;", "</r>"),
          repeated("<r>", "&#x4E2D;", "</r>"),
          repeated("<r>", "]]", "</r>"),
          repeated("<r>", "<a/>", "</r>"),
          repeated("<r>", "<a>b</a>", "</r>"),
          numbered("<r>", "<a@/>", "</r>"),
          repeated("", "<a>", "", "</a>"),
          repeated("<", "a", "/>"),
          numbered("<r", " a@='b'", "/>"),
          repeated("<r a='", "b", "'/>"),
          repeated("<r a='", "&#65;", "'/>"),
          repeated("<r", " ", "/>"),
          repeated("<r>", "<!--a-->", "</r>"),
          repeated("<r><!--", "a- ", "--></r>"),
          repeated("<r>", "<?a b?>", "</r>"),
          repeated("<r>", "<![CDATA[a]]>", "</r>"),
          repeated("<r><![CDATA[", "a]]\n", "]]></r>"),
          repeated("<?xml version='1.0' encoding='GBK'?><r>", "\xD6\xD0", "</r>"),
          repeated("<?xml version='1.0' encoding='x", "x", "'?><r/>"),
          repeated("<r>", "</"),
          repeated("<r>", "<"),
      },
      readXML);
}

TEST(Growth, OfTheTimeForADocumentTypeIsLinear) {
  const std::string end = "]><r>&e;</r>";
  expectLinearTime(
      {
          numbered("<!DOCTYPE r [<!ATTLIST r", " a@ CDATA ''", ">" + end),
          numbered("<!DOCTYPE r [<!ATTLIST r", " a@ CDATA #IMPLIED", ">" + end),
          numbered("<!DOCTYPE r [", "<!ATTLIST r a@ CDATA ''>", end),
          numbered("<!DOCTYPE r [", "<!ATTLIST a@ b CDATA ''>", end),
          repeated("<!DOCTYPE r [", "<!ATTLIST r a CDATA ''>", end),
          repeated("<!DOCTYPE r [<!ATTLIST r", " a CDATA ''", ">" + end),
          numbered("<!DOCTYPE r [<!ATTLIST r a (x", "|v@", ") 'x'>" + end),
          numbered("<!DOCTYPE r [<!ATTLIST r a NOTATION (x", "|v@", ") 'x'>" + end),
          repeated("<!DOCTYPE r [<!ATTLIST r a CDATA '", "b", "'>" + end),
          numbered("<!DOCTYPE r [", "<!ELEMENT a@ EMPTY>", end),
          numbered("<!DOCTYPE r [<!ELEMENT r (x", "|v@", ")>" + end),
          numbered("<!DOCTYPE r [<!ELEMENT r (#PCDATA", "|v@", ")*>" + end),
          repeated("<!DOCTYPE r [<!ELEMENT r ", "(", "x", ")"),
          numbered("<!DOCTYPE r [", "<!NOTATION a@ SYSTEM 'b'>", end),
          numbered("<!DOCTYPE r [", "<!ENTITY e@ 'b'>", end),
          repeated("<!DOCTYPE r [", "<!ENTITY e 'b'>", end),
          numbered("<!DOCTYPE r [", "<!ENTITY % p@ 'b'>", end),
          numbered("<!DOCTYPE r [", "<!ENTITY u@ SYSTEM 'b' NDATA n>", end),
          repeated("<!DOCTYPE r [<!ENTITY e '", "b", "'>" + end),
          repeated("<!DOCTYPE r [<!ENTITY e '", "&#65;", "'>" + end),
          repeated("<!DOCTYPE r [<!ENTITY e 'b'>]><r>", "&e;", "</r>"),
          repeated("<!DOCTYPE r [<!ENTITY e ''>]><r a='", "&e;", "'/>"),
          repeated("<!DOCTYPE r [<!ENTITY % p ''>", "%p;", end),
          repeated("<!DOCTYPE r [", "%unknown;", end),
          repeated("<!DOCTYPE r [", "<!--a-->", end),
          repeated("<!DOCTYPE r [", "<?a b?>", end),
          repeated("<!DOCTYPE r [", " ", end),
          repeated("<!DOCTYPE ", "r", " [" + end),
          repeated("<!DOCTYPE r SYSTEM '", "r", "' [" + end),
      },
      readXML);
}

// Each element gets all the defaults that the document type may declare.
TEST(Growth, OfTheTimeForDefaultAttributesIsLinear) {
  std::string type = "<!DOCTYPE r [<!ATTLIST a";
  for (int number = 0; number < 256; ++number) type += " a" + std::to_string(number) + " CDATA ''";
  expectLinearTime({repeated(type + ">]><r>", "<a/>", "</r>")}, readXML);
}

void archiveAndRead(const Value& value) {
  EXPECT_TRUE(unarchiveObjectWithData(archivedDataWithRootObject(value)));
}

TEST(Growth, OfTheTimeForArchivesIsLinear) {
  expectLinearTime({numbered("", "@,")}, [](const std::string& text) {
    Array numbers;
    Dictionary texts;
    for (std::size_t number = 0; number < text.size() / 64; ++number) {
      numbers.emplace_back(number);
      texts.set(std::to_string(number), text.substr(number, 32));
    }
    archiveAndRead(Array{Value(numbers), Value(texts)});
  });
  expectLinearTime({repeated("", "a"), repeated("", "\u4E2D")}, [](const std::string& text) {
    archiveAndRead(Array{Value(text), Value(Data(text))});
  });
}

}  // namespace
}  // namespace orx::testing
