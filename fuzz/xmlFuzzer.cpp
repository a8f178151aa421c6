// SPDX-License-Identifier: MIT
#include <ORXAccount/platform/XMLParser.h>

#include "FuzzTarget.h"
#include "oracles/XMLOracle.h"
#include "platform/base/Unicode.h"

namespace {

class Checker final : public orx::XMLParserDelegate {
 public:
  void parser_foundCharacters(orx::XMLParser&, std::string_view characters) override {
    ORX_FUZZ_CHECK(errors == 0 && ends == 0 && orx::platform::isValidUTF8(characters));
    read += characters;
  }
  void parser_didEndElement_namespaceURI_qualifiedName(orx::XMLParser&, std::string_view name,
                                                       std::optional<std::string_view>,
                                                       std::optional<std::string_view>) override {
    ORX_FUZZ_CHECK(errors == 0 && ends == 0 && orx::platform::isValidUTF8(name) && !name.empty());
    read.append("</").append(name).append(">");
  }
  void parser_parseErrorOccurred(orx::XMLParser&,
                                 const std::shared_ptr<orx::Error>& error) override {
    ORX_FUZZ_CHECK(ends == 0 && error != nullptr);
    ++errors;
  }
  void parserDidEndDocument(orx::XMLParser&) override { ++ends; }

  int errors = 0;
  int ends = 0;
  // In the oracle's form.
  std::string read;
};

// Where the two follow the same rules: declarations of types and of encodings are read to different
// extents, names outside ASCII by different editions of the standard, and what is nested deep is
// refused at different depths.
bool isForBoth(std::string_view text) {
  constexpr std::size_t longest = 750;
  const bool isPlain = std::ranges::all_of(text, [](char character) {
    return (character >= ' ' && character < 0x7F) || character == '\n' || character == '\t' ||
           character == '\r';
  });
  return isPlain && text.size() <= longest && text.find("<!D") == std::string_view::npos &&
         text.find("<?") == std::string_view::npos;
}

std::optional<std::string> parse(const std::shared_ptr<orx::XMLParser>& parser) {
  const auto checker = std::make_shared<Checker>();
  parser->setDelegate(checker);
  const bool good = parser->parse();
  ORX_FUZZ_CHECK(checker->ends == 1);
  ORX_FUZZ_CHECK(checker->errors == (good ? 0 : 1));
  ORX_FUZZ_CHECK((parser->parserError() == nullptr) == good);
  if (!good) return std::nullopt;
  return checker->read;
}

}  // namespace

ORX_FUZZ_TARGET(text) {
  parse(orx::XMLParser::initWithData(orx::Data(text)));
  const auto read = parse(orx::XMLParser::initWithText(orx::Data(text)));
  if (isForBoth(text)) ORX_FUZZ_CHECK(read == orx::testing::readXMLByOracle(text));
}
