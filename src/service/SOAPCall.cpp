// SPDX-License-Identifier: MIT
#include "service/SOAPCall.h"

#include <ORXAccount/ORVAAccountAPI.h>
#include <ORXAccount/ORVAAccountConstants.h>

#include <array>
#include <stdexcept>
#include <utility>

#include "platform/base/Unicode.h"
#include "platform/process/ForkSafety.h"

namespace orx::service {

using namespace platform;
using namespace config;

constinit const std::string_view soap11_header_request_pattern =
    R"(<?xml version="1.0" encoding="utf-8"?>)"
    R"(<soap:Envelope xmlns:xsi="http://www.w3.org/2001/XMLSchema-instance")"
    R"( xmlns:xsd="http://www.w3.org/2001/XMLSchema")"
    R"( xmlns:soap="http://schemas.xmlsoap.org/soap/envelope/">)"
    R"(  <soap:Header>    <AuthHeader xmlns=")" ORX_SERVICE_NAMESPACE R"(">)"
    R"(      <AppID>%@</AppID>      <AppKey>%@</AppKey>    </AuthHeader>  </soap:Header>)"
    R"(  <soap:Body>    <call xmlns=")" ORX_SERVICE_NAMESPACE R"(">)"
    R"(      <ApiID>%@</ApiID>      <Parameters>%@</Parameters>    </call>  </soap:Body>)"
    R"(</soap:Envelope>)";

namespace {

// Throws std::invalid_argument for text that is not UTF-8: the service would get an envelope that
// is none, and answer with a text about something else.
void requireUTF8(std::string_view text, const char* name) {
  if (isValidUTF8(text)) return;
  throw std::invalid_argument(std::string(name) + " is not UTF-8");
}

// The template with the namespace in force in the places of the one that was built in.
std::string withNamespaceInForce(std::string_view envelope) {
  constexpr std::string_view kDeclaration = R"( xmlns=")";
  std::string text;
  for (std::size_t at = 0; (at = envelope.find(kDeclaration)) != std::string_view::npos;) {
    at += kDeclaration.size();
    text += envelope.substr(0, at);
    text += serviceNamespace();
    envelope.remove_prefix(envelope.find('"', at));
  }
  text += envelope;
  return text;
}

}  // namespace

const Envelopes& envelopes() {
  static constinit ProcessWide<Envelopes> made;
  return made.get([] {
    return Envelopes{.paraJson = withNamespaceInForce(lumcusinfo_asmx_pattern),
                     .soap12 = withNamespaceInForce(soap12_request_pattern),
                     .soap11Header = withNamespaceInForce(soap11_header_request_pattern)};
  });
}

std::string filledEnvelope(const SOAPCall& call, const Credentials& credentials) {
  constexpr std::string_view kPlace = "%@";
  const auto textOf = [](const std::optional<std::string>& text) {
    return text ? std::string_view(*text) : std::string_view();
  };
  const std::array<std::string_view, 4> arguments{
      textOf(credentials.appID), textOf(credentials.appKey), call.apiID, call.parameterText};
  std::string filled;
  filled.reserve(call.envelope.size() + arguments[0].size() + arguments[1].size() +
                 arguments[2].size() + arguments[3].size());
  std::string_view rest = call.envelope;
  for (const std::string_view argument : arguments) {
    const std::size_t place = rest.find(kPlace);
    filled += rest.substr(0, place);
    filled += argument;
    rest.remove_prefix(place + kPlace.size());
  }
  filled += rest;
  return filled;
}

ServerSet targetServers() {
  return ORVAAccountAPI::targetServerIsCN() ? ServerSet::China : ServerSet::Global;
}

void startSOAPCall(const SOAPCall& call, const Credentials& credentials,
                   TransferHandler replyHandler) {
  requireUTF8(credentials.appID.value_or(""), "the application ID");
  requireUTF8(credentials.appKey.value_or(""), "the application key");
  requireUTF8(call.apiID, "the operation's ApiID");
  requireUTF8(call.parameterText, "the parameter text");
  startTransfer({.url = serviceURL(targetServers(), call.path),
                 .httpBody = filledEnvelope(call, credentials),
                 .contentType = "text/xml; charset=utf-8"},
                URLSessionConfiguration::defaultConfiguration(), std::move(replyHandler));
}

}  // namespace orx::service
