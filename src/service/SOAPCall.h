// SPDX-License-Identifier: MIT
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "config/Servers.h"
#include "platform/http/Transport.h"

namespace orx::service {

// The SOAP 1.1 template with the credentials in a header. Its runs of blanks are what the service
// was built against.
extern const std::string_view soap11_header_request_pattern;

// The templates as they are sent, with the namespace of the servers in force.
struct Envelopes {
  std::string paraJson;
  std::string soap12;
  std::string soap11Header;
};
const Envelopes& envelopes();

// What tells one SOAP operation's request from another's.
struct SOAPCall {
  std::string_view envelope;  // one of envelopes()
  std::string_view path;      // kCustomerInfoPath or kAccountServicePath
  std::string_view apiID;
  std::string parameterText;  // compact JSON
};

// Who sends the call. Absent credentials are sent as empty text.
struct Credentials {
  const std::optional<std::string>& appID;
  const std::optional<std::string>& appKey;
};

// The template with its four places filled in order; nothing is escaped, and a "%@" inside what was
// put in is left alone.
std::string filledEnvelope(const SOAPCall& call, const Credentials& credentials);

// The server set of this moment's target server flag.
config::ServerSet targetServers();

// Sends the call to the server set of this moment's target server flag. Throws
// std::invalid_argument when one of the four texts is not UTF-8.
void startSOAPCall(const SOAPCall& call, const Credentials& credentials,
                   platform::TransferHandler replyHandler);

}  // namespace orx::service
