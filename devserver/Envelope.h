#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "devserver/HTTPMessages.h"

namespace orx::devserver {

enum class SOAPVersion { V11, V12 };

// What a call envelope says. Elements are found by their local names wherever they stand; one that
// is missing reads as empty.
struct CallEnvelope {
  SOAPVersion version = SOAPVersion::V11;
  std::string appID;
  std::string appKey;
  std::string apiID;
  // The text of ParaJson or Parameters.
  std::string parameters;
  // Of the element `call`.
  std::string serviceNamespace;
};

// Absent when the text is no well-formed XML or holds no element `call`.
std::optional<CallEnvelope> parseCallEnvelope(const std::string& body);

// The version that a text which cannot be parsed seems to be written for.
SOAPVersion guessVersion(std::string_view body);

// One result block. Its texts are written as they are but for what XML forces; without data the
// empty element is written.
struct ResultFields {
  std::string code;
  std::string description;
  std::string dataType = "String";
  std::string data;
};

HTTPResponse soapAnswer(const CallEnvelope& call, const ResultFields& result);

// A SOAP fault with the status that its version asks for. `ours` says whether the service is to
// blame rather than the sender.
HTTPResponse soapFault(SOAPVersion version, bool ours, std::string_view reason);

// Text for XML or HTML: markup is escaped, and what XML 1.0 has no way to write becomes U+FFFD.
// Quotes stay as they are in elements and are escaped for attributes, which stand in double quotes.
std::string escapedForElement(std::string_view text);
std::string escapedForAttribute(std::string_view text);

}  // namespace orx::devserver
