// SPDX-License-Identifier: MIT
#pragma once

#include <ORXAccount/platform/Data.h>
#include <ORXAccount/platform/Error.h>
#include <ORXAccount/platform/Export.h>
#include <ORXAccount/platform/Object.h>

#include <concepts>
#include <memory>
#include <optional>
#include <string_view>

namespace orx {

class XMLParser;

// What a parser reports, on the thread that runs the parse, while parse() is on the stack. Every
// operation is optional: the ones given here do nothing. What one of them throws ends the parse and
// comes out of parse(), and nothing more is reported; std::bad_alloc is a parse error instead. The
// views live for the length of the call.
class ORX_EXPORT XMLParserDelegate {
 public:
  virtual ~XMLParserDelegate();

  // A piece of character data, references decoded; an element's text may arrive in several pieces.
  // White space between tags is character data. Text in CDATA sections is not reported here.
  virtual void parser_foundCharacters(XMLParser& parser, std::string_view characters);
  // The name as written, prefix included. Namespace processing is off: the URI and the qualified
  // name are absent.
  virtual void parser_didEndElement_namespaceURI_qualifiedName(
      XMLParser& parser, std::string_view elementName, std::optional<std::string_view> namespaceURI,
      std::optional<std::string_view> qualifiedName);
  // At most once; nothing but parserDidEndDocument is reported after it.
  virtual void parser_parseErrorOccurred(XMLParser& parser, const std::shared_ptr<Error>& error);
  // Once at the end of every parse, after a parse error too.
  virtual void parserDidEndDocument(XMLParser& parser);
};

// An event-driven reader of one XML document held in memory. It loads nothing from outside:
// external entities and DTDs are not fetched. These end a parse with an error: elements nested more
// than 1,024 deep, more than 1,000,000 elements, a DTD that declares more than 256 entities,
// attributes and notations together, and entities that make the document more than four times as
// long where both together are more than 64 KB. For one thread at a time: the one that sets the
// delegate and runs the parse.
class ORX_EXPORT XMLParser final : public Object {
 public:
  // Reads bytes in the encoding that the document declares: any that the system's iconv knows.
  // Another name is an error.
  static std::shared_ptr<XMLParser> initWithData(Data data);
  // Reads UTF-8 text, whatever encoding its own declaration claims.
  static std::shared_ptr<XMLParser> initWithText(Data text);

  // Held weakly: a delegate that is gone is not called.
  std::shared_ptr<XMLParserDelegate> delegate() const;
  void setDelegate(const std::weak_ptr<XMLParserDelegate>& delegate);
  // A delegate that nobody else holds would be gone before the parse.
  template <std::derived_from<XMLParserDelegate> Delegate>
  void setDelegate(std::shared_ptr<Delegate>&& keepItInAVariable) = delete;

  // Reads the document to its end on the calling thread, and reports to the delegate. True when it
  // was well-formed. A second call does nothing and gives false.
  bool parse();

  // The error of a parse that gave false (NSXMLParserErrorDomain; code 1 says that memory ran out);
  // null before a parse and after a good one.
  std::shared_ptr<Error> parserError() const;

  ~XMLParser() override;

 private:
  XMLParser();
  struct State;
  std::unique_ptr<State> state_;
};

}  // namespace orx
