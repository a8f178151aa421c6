// SPDX-License-Identifier: MIT
#include "oracles/XMLOracle.h"

#include <libxml/parser.h>

namespace orx::testing {

namespace {

void foundCharacters(void* text, const xmlChar* characters, int length) {
  static_cast<std::string*>(text)->append(reinterpret_cast<const char*>(characters),
                                          static_cast<std::size_t>(length));
}

void didEndElement(void* text, const xmlChar* name) {
  auto& read = *static_cast<std::string*>(text);
  read += "</";
  read += reinterpret_cast<const char*>(name);
  read += '>';
}

}  // namespace

std::optional<std::string> readXMLByOracle(std::string_view document) {
  // Version 1 of the handlers: names with their prefixes, and no rules for these.
  xmlSAXHandler handler{};
  handler.characters = foundCharacters;
  handler.ignorableWhitespace = foundCharacters;
  handler.cdataBlock = [](void*, const xmlChar*, int) {};
  handler.endElement = didEndElement;
  handler.serror = [](void*, xmlError*) {};
  std::string read;
  const int status =
      xmlSAXUserParseMemory(&handler, &read, document.data(), static_cast<int>(document.size()));
  if (status != 0) return std::nullopt;
  return read;
}

}  // namespace orx::testing
