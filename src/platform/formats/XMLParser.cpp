#include <ORXAccount/platform/XMLParser.h>
// Without it the header hides the amplification limits.
#define XML_DTD
#include <expat.h>

#include <algorithm>
#include <string>

#include "platform/base/Limits.h"

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
  return Error::errorWithDomain_code_userInfo(
      NSXMLParserErrorDomain, code,
      {{std::string(NSLocalizedDescriptionKey), std::move(description)}});
}

// Bytes that make the vendor's parser change to UTF-16 even when it was told UTF-8. None of them
// can begin a document in UTF-8.
bool looksLikeUTF16(std::string_view text) {
  return text.starts_with('\xFE') || text.starts_with('\xFF') ||
         text.substr(0, 2).find('\0') != std::string_view::npos;
}

// One run of the vendor's parser over one document. Its handlers are C callbacks, which no
// exception may cross: they are noexcept, so a delegate that throws ends the process.
class Run {
 public:
  explicit Run(XMLParser& parser, bool isUTF8)
      : parser_(parser), vendor_(XML_ParserCreate(isUTF8 ? "UTF-8" : nullptr)) {
    if (vendor_ == nullptr) return;
    XML_SetUserData(vendor_, this);
    XML_SetElementHandler(vendor_, didStartElement, didEndElement);
    XML_SetCharacterDataHandler(vendor_, foundCharacters);
    XML_SetCdataSectionHandler(vendor_, didStartCDATA, didEndCDATA);
    XML_SetEntityDeclHandler(vendor_, didDeclareEntity);
    XML_SetBillionLaughsAttackProtectionMaximumAmplification(vendor_, limits::xmlAmplification);
    XML_SetBillionLaughsAttackProtectionActivationThreshold(vendor_,
                                                            limits::xmlAmplificationThreshold);
  }
  Run(const Run&) = delete;
  Run& operator=(const Run&) = delete;
  ~Run() {
    if (vendor_ != nullptr) XML_ParserFree(vendor_);
  }

  // Null when the document was well-formed.
  std::shared_ptr<Error> parse(std::string_view document) {
    if (vendor_ == nullptr) {
      return parseError(XML_ERROR_NO_MEMORY, 1, 1, XML_ErrorString(XML_ERROR_NO_MEMORY));
    }
    // The vendor counts the bytes of one piece in an int.
    constexpr std::size_t largestPiece = std::size_t{1} << 30U;
    bool isLast = false;
    do {
      const std::string_view piece = document.substr(0, largestPiece);
      document.remove_prefix(piece.size());
      isLast = document.empty();
      if (XML_Parse(vendor_, piece.data(), static_cast<int>(piece.size()), isLast) !=
          XML_STATUS_OK) {
        return currentError();
      }
    } while (!isLast);
    return nullptr;
  }

 private:
  static Run& runOf(void* userData) { return *static_cast<Run*>(userData); }

  static void didStartElement(void* userData, const XML_Char*, const XML_Char**) noexcept {
    Run& run = runOf(userData);
    if (run.depth_++ == limits::xmlDepth) {
      run.stop("elements are nested more than " + std::to_string(limits::xmlDepth) + " deep");
    } else if (run.elements_++ == limits::xmlElements) {
      run.stop("there are more than " + std::to_string(limits::xmlElements) + " elements");
    }
  }

  static void didEndElement(void* userData, const XML_Char* name) noexcept {
    Run& run = runOf(userData);
    --run.depth_;
    const auto delegate = run.delegate();
    if (!delegate) return;
    delegate->parser_didEndElement_namespaceURI_qualifiedName(run.parser_, name, std::nullopt,
                                                              std::nullopt);
  }

  static void foundCharacters(void* userData, const XML_Char* characters, int size) noexcept {
    Run& run = runOf(userData);
    if (run.isInCDATA_) return;
    const auto delegate = run.delegate();
    if (!delegate) return;
    delegate->parser_foundCharacters(run.parser_, {characters, static_cast<std::size_t>(size)});
  }

  static void didStartCDATA(void* userData) noexcept { runOf(userData).isInCDATA_ = true; }

  static void didEndCDATA(void* userData) noexcept { runOf(userData).isInCDATA_ = false; }

  static void didDeclareEntity(void* userData, const XML_Char*, int, const XML_Char*, int,
                               const XML_Char*, const XML_Char*, const XML_Char*,
                               const XML_Char*) noexcept {
    Run& run = runOf(userData);
    if (run.entities_++ == limits::xmlEntities) {
      run.stop("more than " + std::to_string(limits::xmlEntities) + " entities are declared");
    }
  }

  // Events may still follow until the vendor's parser has come to its end; they are not reported.
  void stop(const std::string& reason) {
    if (stopError_) return;
    stopError_ = errorHere(XML_ERROR_ABORTED, reason);
    XML_StopParser(vendor_, XML_FALSE);
  }

  std::shared_ptr<XMLParserDelegate> delegate() const {
    return stopError_ ? nullptr : parser_.delegate();
  }

  std::shared_ptr<Error> currentError() const {
    if (stopError_) return stopError_;
    const XML_Error code = XML_GetErrorCode(vendor_);
    const XML_LChar* reason = XML_ErrorString(code);
    return errorHere(code, reason != nullptr ? reason : "unknown");
  }

  std::shared_ptr<Error> errorHere(XML_Error code, const std::string& reason) const {
    return parseError(code, XML_GetCurrentLineNumber(vendor_),
                      XML_GetCurrentColumnNumber(vendor_) + 1, reason);
  }

  XMLParser& parser_;
  XML_Parser vendor_;
  std::size_t depth_ = 0;
  std::size_t elements_ = 0;
  std::size_t entities_ = 0;
  bool isInCDATA_ = false;
  std::shared_ptr<Error> stopError_;
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
    return Run(parser, isUTF8).parse(text);
  }
};

XMLParser::XMLParser() : state_(std::make_unique<State>()) {}

XMLParser::~XMLParser() = default;

std::shared_ptr<XMLParser> XMLParser::initWithData(Data data) {
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
  // What is reported may make its receiver let go of this parser.
  const auto self = shared_from_this();
  state_->error = state_->run(*this);
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
