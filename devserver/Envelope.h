// SPDX-License-Identifier: MIT
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "devserver/HTTPMessages.h"

namespace orx::devserver {

enum class SOAPVersion { V11, V12 };

// The fields of a call envelope. Elements are found by their local names at any depth; a missing
// one reads as empty.
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

// Absent when the text is not well-formed XML or has no element `call`.
std::optional<CallEnvelope> parseCallEnvelope(const std::string& body);

// The SOAP version that a text seems to use which cannot be parsed; a fault needs one.
SOAPVersion guessVersion(std::string_view body);

// One result block. Texts are given unescaped; empty data becomes an empty element.
struct ResultFields {
  std::string code;
  std::string description;
  std::string dataType = "String";
  std::string data;
};

HTTPResponse soapAnswer(const CallEnvelope& call, const ResultFields& result);

// A SOAP fault with the status that its version prescribes. `ours` is true when the fault is the
// service's, false when it is the sender's.
HTTPResponse soapFault(SOAPVersion version, bool ours, std::string_view reason);

// Text for XML or HTML: markup is escaped, and what XML 1.0 has no way to write becomes U+FFFD.
// Quotes stay as they are in elements and are escaped for attributes, which stand in double quotes.
std::string escapedForElement(std::string_view text);
std::string escapedForAttribute(std::string_view text);

}  // namespace orx::devserver
