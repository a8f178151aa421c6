// SPDX-License-Identifier: MIT
#include "devserver/Envelope.h"

#include <expat.h>

#include <memory>
#include <sstream>

namespace orx::devserver {
namespace {

constexpr std::string_view kSOAP11 = "http://schemas.xmlsoap.org/soap/envelope/";
constexpr std::string_view kSOAP12 = "http://www.w3.org/2003/05/soap-envelope";
constexpr int kDeepest = 64;

struct Reading {
  XML_Parser parser;
  CallEnvelope call;
  std::string* text = nullptr;
  int depth = 0;
  bool seenCall = false;
};

std::string_view localName(std::string_view name) {
  const std::size_t colon = name.find(':');
  return colon == std::string_view::npos ? name : name.substr(colon + 1);
}

std::string* destination(CallEnvelope& call, std::string_view name) {
  if (name == "AppID") return &call.appID;
  if (name == "AppKey") return &call.appKey;
  if (name == "ApiID") return &call.apiID;
  if (name == "ParaJson" || name == "Parameters") return &call.parameters;
  return nullptr;
}

void XMLCALL startElement(void* data, const XML_Char* qualified, const XML_Char** attributes) {
  auto& reading = *static_cast<Reading*>(data);
  if (++reading.depth > kDeepest) {
    XML_StopParser(reading.parser, XML_FALSE);
    return;
  }
  const std::string_view name = localName(qualified);
  reading.text = destination(reading.call, name);
  if (reading.text != nullptr) reading.text->clear();
  if (name == "call") reading.seenCall = true;
  for (; *attributes != nullptr; attributes += 2) {
    const std::string_view attribute = attributes[0];
    if (reading.depth == 1 && attributes[1] == kSOAP12) reading.call.version = SOAPVersion::V12;
    if (name == "call" && attribute == "xmlns") reading.call.serviceNamespace = attributes[1];
  }
}

void XMLCALL endElement(void* data, const XML_Char*) {
  auto& reading = *static_cast<Reading*>(data);
  --reading.depth;
  reading.text = nullptr;
}

void XMLCALL characters(void* data, const XML_Char* text, int length) {
  auto& reading = *static_cast<Reading*>(data);
  if (reading.text != nullptr) reading.text->append(text, static_cast<std::size_t>(length));
}

// SOAP forbids entity declarations, and nested ones would expand a small message to gigabytes.
void XMLCALL refuseDoctype(void* data, const XML_Char*, const XML_Char*, const XML_Char*, int) {
  XML_StopParser(static_cast<Reading*>(data)->parser, XML_FALSE);
}

std::string envelope(SOAPVersion version, const std::string& body) {
  const std::string prefix = version == SOAPVersion::V12 ? "soap12" : "soap";
  const std::string_view space = version == SOAPVersion::V12 ? kSOAP12 : kSOAP11;
  return R"(<?xml version="1.0" encoding="utf-8"?><)" + prefix + ":Envelope xmlns:" + prefix +
         R"(=")" + std::string(space) +
         R"(" xmlns:xsi="http://www.w3.org/2001/XMLSchema-instance")" +
         R"( xmlns:xsd="http://www.w3.org/2001/XMLSchema"><)" + prefix + ":Body>" + body + "</" +
         prefix + ":Body></" + prefix + ":Envelope>";
}

HTTPResponse xmlResponse(int status, SOAPVersion version, const std::string& body) {
  return {status,
          version == SOAPVersion::V12 ? "application/soap+xml; charset=utf-8"
                                      : "text/xml; charset=utf-8",
          envelope(version, body),
          {{"Cache-Control", "no-store"}}};
}

// Whether the UTF-8 sequence at the position stands for U+FFFE or U+FFFF.
bool isNoncharacter(std::string_view text, std::size_t at) {
  const std::string_view three = text.substr(at, 3);
  return three == "\xEF\xBF\xBE" || three == "\xEF\xBF\xBF";
}

}  // namespace

std::optional<CallEnvelope> parseCallEnvelope(const std::string& body) {
  const std::unique_ptr<XML_ParserStruct, decltype(&XML_ParserFree)> parser(
      XML_ParserCreate(nullptr), XML_ParserFree);
  Reading reading{parser.get(), {}, nullptr, 0, false};
  XML_SetUserData(parser.get(), &reading);
  XML_SetElementHandler(parser.get(), startElement, endElement);
  XML_SetCharacterDataHandler(parser.get(), characters);
  XML_SetStartDoctypeDeclHandler(parser.get(), refuseDoctype);
  const auto status = XML_Parse(parser.get(), body.data(), static_cast<int>(body.size()), XML_TRUE);
  if (status != XML_STATUS_OK || !reading.seenCall) return std::nullopt;
  return std::move(reading.call);
}

SOAPVersion guessVersion(std::string_view body) {
  return body.find(kSOAP12) == std::string_view::npos ? SOAPVersion::V11 : SOAPVersion::V12;
}

HTTPResponse soapAnswer(const CallEnvelope& call, const ResultFields& result) {
  const auto element = [](const std::string& name, std::string_view text) {
    return "<" + name + ">" + escapedForElement(text) + "</" + name + ">";
  };
  const std::string block =
      element("ResultCode", result.code) + element("ResultDesc", result.description) +
      element("ReturnDataType", result.dataType) +
      (result.data.empty() ? "<ReturnData />" : element("ReturnData", result.data));
  const std::string body = "<callResponse xmlns=\"" + escapedForAttribute(call.serviceNamespace) +
                           "\"><callResult>" + block + "</callResult></callResponse>";
  HTTPResponse response = xmlResponse(200, call.version, body);
  response.resultCode = result.code;
  return response;
}

HTTPResponse soapFault(SOAPVersion version, bool ours, std::string_view reason) {
  std::ostringstream fault;
  if (version == SOAPVersion::V11) {
    fault << "<soap:Fault><faultcode>" << (ours ? "soap:Server" : "soap:Client")
          << "</faultcode><faultstring>" << escapedForElement(reason)
          << "</faultstring><detail /></soap:Fault>";
    return xmlResponse(500, version, fault.str());
  }
  fault << "<soap12:Fault><soap12:Code><soap12:Value>"
        << (ours ? "soap12:Receiver" : "soap12:Sender")
        << "</soap12:Value></soap12:Code><soap12:Reason><soap12:Text xml:lang=\"en\">"
        << escapedForElement(reason) << "</soap12:Text></soap12:Reason></soap12:Fault>";
  return xmlResponse(ours ? 500 : 400, version, fault.str());
}

std::string escapedForElement(std::string_view text) {
  std::string escaped;
  for (std::size_t at = 0; at < text.size(); ++at) {
    const char c = text[at];
    if (c == '&') {
      escaped += "&amp;";
    } else if (c == '<') {
      escaped += "&lt;";
    } else if (c == '>') {
      escaped += "&gt;";
    } else if (c == '\n' || c == '\r') {
      escaped += c == '\n' ? "&#10;" : "&#13;";
    } else if (static_cast<unsigned char>(c) < 0x20 && c != '\t') {
      escaped += "\xEF\xBF\xBD";
    } else if (isNoncharacter(text, at)) {
      escaped += "\xEF\xBF\xBD";
      at += 2;
    } else {
      escaped += c;
    }
  }
  return escaped;
}

std::string escapedForAttribute(std::string_view text) {
  std::string escaped;
  for (const char c : escapedForElement(text)) {
    if (c == '"') {
      escaped += "&quot;";
    } else {
      escaped += c;
    }
  }
  return escaped;
}

}  // namespace orx::devserver
