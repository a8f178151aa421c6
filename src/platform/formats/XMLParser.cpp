// SPDX-License-Identifier: MIT
#include <ORXAccount/platform/XMLParser.h>
// Without it the header hides the amplification limits.
#define XML_DTD
#include <expat.h>

#include <algorithm>
#include <cstdlib>
#include <exception>
#include <new>
#include <optional>
#include <string>

#include "platform/base/Limits.h"
#include "platform/base/Result.h"
#include "platform/base/Wiping.h"
#include "platform/formats/TextEncoding.h"
#include "platform/process/ForkSafety.h"

namespace orx {

using namespace platform;

XMLParserDelegate::~XMLParserDelegate() = default;

void XMLParserDelegate::parser_foundCharacters(XMLParser&, std::string_view) {}

void XMLParserDelegate::parser_didEndElement_namespaceURI_qualifiedName(
    XMLParser&, std::string_view, std::optional<std::string_view>,
    std::optional<std::string_view>) {}

void XMLParserDelegate::parser_parseErrorOccurred(XMLParser&, const std::shared_ptr<Error>&) {}

void XMLParserDelegate::parserDidEndDocument(XMLParser&) {}

namespace {

std::shared_ptr<Error> parseError(XML_Error code, XML_Size line, XML_Size column,
                                  const std::string& reason) {
  std::string description = "The text is not well-formed XML: line " + std::to_string(line) +
                            ", column " + std::to_string(column) + ": " + reason + ".";
  return makeFailure(NSXMLParserErrorDomain, code, std::move(description)).value();
}

// Made before a parse begins: once memory has run out, there is none for an error.
std::shared_ptr<Error> outOfMemory() {
  static constinit ProcessWide<std::shared_ptr<Error>> error;
  return error.get([] {
    return makeFailure(NSXMLParserErrorDomain, XML_ERROR_NO_MEMORY,
                       "The XML could not be read: memory has run out.")
        .value();
  });
}

// Bytes that make expat change to UTF-16 even when it was told UTF-8. None of them can begin a
// document in UTF-8.
bool looksLikeUTF16(std::string_view text) {
  return text.starts_with('\xFE') || text.starts_with('\xFF') ||
         text.substr(0, 2).find('\0') != std::string_view::npos;
}

// The texts that expat takes apart lie in its memory.
constexpr XML_Memory_Handling_Suite kWiping{std::malloc, reallocWiping, freeWiping};

// One run of expat over one document. Its handlers are C callbacks, which no exception may cross:
// one that is thrown in a handler ends the parse and is thrown again behind it.
class ExpatRun {
 public:
  explicit ExpatRun(XMLParser& parser, bool isUTF8)
      : parser_(parser),
        owner_(XML_ParserCreate_MM(isUTF8 ? "UTF-8" : nullptr, &kWiping, nullptr), XML_ParserFree),
        expat_(owner_.get()) {
    if (expat_ == nullptr) throw std::bad_alloc();
    XML_SetUserData(expat_, this);
    XML_SetElementHandler(expat_, didStartElement, didEndElement);
    XML_SetCharacterDataHandler(expat_, foundCharacters);
    XML_SetCdataSectionHandler(expat_, didStartCDATA, didEndCDATA);
    XML_SetAttlistDeclHandler(expat_, didDeclareAttribute);
    XML_SetEntityDeclHandler(expat_, didDeclareEntity);
    XML_SetNotationDeclHandler(expat_, didDeclareNotation);
    XML_SetUnknownEncodingHandler(expat_, foundUnknownEncoding, this);
    XML_SetBillionLaughsAttackProtectionMaximumAmplification(expat_, limits::xmlAmplification);
    XML_SetBillionLaughsAttackProtectionActivationThreshold(expat_,
                                                            limits::xmlAmplificationThreshold);
  }

  // Null when the document was well-formed.
  std::shared_ptr<Error> parse(std::string_view document) {
    // Expat counts the bytes of one piece in an int.
    constexpr std::size_t largestPiece = std::size_t{1} << 30U;
    bool isLast = false;
    do {
      const std::string_view piece = document.substr(0, largestPiece);
      document.remove_prefix(piece.size());
      isLast = document.empty();
      const auto status = XML_Parse(expat_, piece.data(), static_cast<int>(piece.size()), isLast);
      if (thrown_) std::rethrow_exception(thrown_);
      if (status != XML_STATUS_OK) return currentError();
    } while (!isLast);
    return nullptr;
  }

  // After a parse that failed for this reason alone: the encoding that the document declares and
  // expat does not know. Nothing has been reported then.
  const std::optional<std::string>& unknownEncoding() const { return unknownEncoding_; }

 private:
  static ExpatRun& runOf(void* userData) { return *static_cast<ExpatRun*>(userData); }

  // Does what a handler has to do; nothing once a handler has thrown.
  template <typename Work>
  static void handle(void* userData, Work work) noexcept {
    ExpatRun& run = runOf(userData);
    if (run.thrown_) return;
    try {
      work(run);
    } catch (...) {
      run.thrown_ = std::current_exception();
      XML_StopParser(run.expat_, XML_FALSE);
    }
  }

  static void didStartElement(void* userData, const XML_Char*, const XML_Char**) noexcept {
    handle(userData, [](ExpatRun& run) {
      if (run.depth_++ == limits::xmlDepth) {
        run.stop("elements are nested more than " + std::to_string(limits::xmlDepth) + " deep");
      } else if (run.elements_++ == limits::xmlElements) {
        run.stop("there are more than " + std::to_string(limits::xmlElements) + " elements");
      }
    });
  }

  static void didEndElement(void* userData, const XML_Char* name) noexcept {
    handle(userData, [name](ExpatRun& run) {
      --run.depth_;
      if (const auto delegate = run.delegate()) {
        delegate->parser_didEndElement_namespaceURI_qualifiedName(run.parser_, name, {}, {});
      }
    });
  }

  static void foundCharacters(void* userData, const XML_Char* characters, int size) noexcept {
    handle(userData,
           [text = std::string_view(characters, static_cast<std::size_t>(size))](ExpatRun& run) {
             if (run.isInCDATA_) return;
             if (const auto delegate = run.delegate()) {
               delegate->parser_foundCharacters(run.parser_, text);
             }
           });
  }

  static void didStartCDATA(void* userData) noexcept { runOf(userData).isInCDATA_ = true; }

  static void didEndCDATA(void* userData) noexcept { runOf(userData).isInCDATA_ = false; }

  static void didDeclareAttribute(void* userData, const XML_Char*, const XML_Char*, const XML_Char*,
                                  const XML_Char*, int) noexcept {
    handle(userData, countDeclaration);
  }

  static void didDeclareEntity(void* userData, const XML_Char*, int, const XML_Char*, int,
                               const XML_Char*, const XML_Char*, const XML_Char*,
                               const XML_Char*) noexcept {
    handle(userData, countDeclaration);
  }

  static void didDeclareNotation(void* userData, const XML_Char*, const XML_Char*, const XML_Char*,
                                 const XML_Char*) noexcept {
    handle(userData, countDeclaration);
  }

  static void countDeclaration(ExpatRun& run) {
    if (run.declarations_++ == limits::xmlDeclarations) {
      run.stop("there are more than " + std::to_string(limits::xmlDeclarations) + " declarations");
    }
  }

  static int foundUnknownEncoding(void* userData, const XML_Char* name, XML_Encoding*) noexcept {
    handle(userData, [name](ExpatRun& run) { run.unknownEncoding_ = name; });
    return XML_STATUS_ERROR;
  }

  // Ends the parse with an error. Expat may still report events that it has read already; they are
  // not passed on, since nothing but the document's end may follow an error.
  void stop(const std::string& reason) {
    stopError_ = errorHere(XML_ERROR_ABORTED, reason);
    XML_StopParser(expat_, XML_FALSE);
  }

  std::shared_ptr<XMLParserDelegate> delegate() const {
    return stopError_ ? nullptr : parser_.delegate();
  }

  std::shared_ptr<Error> currentError() const {
    if (stopError_) return stopError_;
    const XML_Error code = XML_GetErrorCode(expat_);
    if (code == XML_ERROR_NO_MEMORY) throw std::bad_alloc();
    const XML_LChar* reason = XML_ErrorString(code);
    return errorHere(code, reason != nullptr ? reason : "unknown");
  }

  std::shared_ptr<Error> errorHere(XML_Error code, const std::string& reason) const {
    return parseError(code, XML_GetCurrentLineNumber(expat_),
                      XML_GetCurrentColumnNumber(expat_) + 1, reason);
  }

  XMLParser& parser_;
  std::unique_ptr<XML_ParserStruct, decltype(&XML_ParserFree)> owner_;
  XML_Parser expat_;
  std::size_t depth_ = 0;
  std::size_t elements_ = 0;
  std::size_t declarations_ = 0;
  bool isInCDATA_ = false;
  std::optional<std::string> unknownEncoding_;
  std::shared_ptr<Error> stopError_;
  std::exception_ptr thrown_;
};

}  // namespace

struct XMLParser::State {
  Data document;
  bool isUTF8 = false;
  bool hasRun = false;
  std::weak_ptr<XMLParserDelegate> delegate;
  std::shared_ptr<Error> error;

  std::shared_ptr<Error> run(XMLParser& parser) const {
    const std::string_view text = document.text();
    if (isUTF8 && looksLikeUTF16(text)) {
      return parseError(XML_ERROR_INVALID_TOKEN, 1, 1, XML_ErrorString(XML_ERROR_INVALID_TOKEN));
    }
    ExpatRun asDeclared(parser, isUTF8);
    auto refusal = asDeclared.parse(text);
    if (!asDeclared.unknownEncoding()) return refusal;
    // What begins with UTF-8's mark is UTF-8: somebody has converted it and left the declaration.
    if (text.starts_with(utf8ByteOrderMark)) return ExpatRun(parser, true).parse(text);
    const auto converted = textInUTF8(text, *asDeclared.unknownEncoding());
    return converted ? ExpatRun(parser, true).parse(*converted) : refusal;
  }
};

XMLParser::XMLParser() : state_(std::make_unique<State>()) {}

XMLParser::~XMLParser() = default;

std::shared_ptr<XMLParser> XMLParser::initWithData(Data data) {
  outOfMemory();
  std::shared_ptr<XMLParser> parser(new XMLParser());
  parser->state_->document = std::move(data);
  return parser;
}

std::shared_ptr<XMLParser> XMLParser::initWithText(Data text) {
  auto parser = initWithData(std::move(text));
  parser->state_->isUTF8 = true;
  return parser;
}

std::shared_ptr<XMLParserDelegate> XMLParser::delegate() const { return state_->delegate.lock(); }

void XMLParser::setDelegate(const std::weak_ptr<XMLParserDelegate>& delegate) {
  state_->delegate = delegate;
}

bool XMLParser::parse() {
  if (state_->hasRun) return false;
  state_->hasRun = true;
  // The delegate may drop the last reference to this parser while it is told something.
  const auto self = shared_from_this();
  try {
    state_->error = state_->run(*this);
  } catch (const std::bad_alloc&) {
    state_->error = outOfMemory();
  }
  if (state_->error) {
    if (const auto delegate = this->delegate()) {
      delegate->parser_parseErrorOccurred(*this, state_->error);
    }
  }
  if (const auto delegate = this->delegate()) delegate->parserDidEndDocument(*this);
  return state_->error == nullptr;
}

std::shared_ptr<Error> XMLParser::parserError() const { return state_->error; }

}  // namespace orx
