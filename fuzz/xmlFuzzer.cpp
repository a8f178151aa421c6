// SPDX-License-Identifier: MIT
#include <ORXAccount/platform/XMLParser.h>

#include "FuzzTarget.h"
#include "platform/base/Unicode.h"

namespace {

class Checker final : public orx::XMLParserDelegate {
 public:
  void parser_foundCharacters(orx::XMLParser&, std::string_view characters) override {
    ORX_FUZZ_CHECK(errors == 0 && ends == 0 && orx::platform::isValidUTF8(characters));
  }
  void parser_didEndElement_namespaceURI_qualifiedName(orx::XMLParser&, std::string_view name,
                                                       std::optional<std::string_view>,
                                                       std::optional<std::string_view>) override {
    ORX_FUZZ_CHECK(errors == 0 && ends == 0 && orx::platform::isValidUTF8(name) && !name.empty());
  }
  void parser_parseErrorOccurred(orx::XMLParser&,
                                 const std::shared_ptr<orx::Error>& error) override {
    ORX_FUZZ_CHECK(ends == 0 && error != nullptr);
    ++errors;
  }
  void parserDidEndDocument(orx::XMLParser&) override { ++ends; }

  int errors = 0;
  int ends = 0;
};

void parse(const std::shared_ptr<orx::XMLParser>& parser) {
  const auto checker = std::make_shared<Checker>();
  parser->setDelegate(checker);
  const bool good = parser->parse();
  ORX_FUZZ_CHECK(checker->ends == 1);
  ORX_FUZZ_CHECK(checker->errors == (good ? 0 : 1));
  ORX_FUZZ_CHECK((parser->parserError() == nullptr) == good);
}

}  // namespace

ORX_FUZZ_TARGET(text) {
  parse(orx::XMLParser::initWithData(orx::Data(text)));
  parse(orx::XMLParser::initWithText(orx::Data(text)));
}
