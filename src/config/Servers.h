// SPDX-License-Identifier: MIT
#pragma once

#include <ORXAccount/platform/URL.h>

#include <string_view>

// The servers in force: those that the host has set, else those that were built in. The first use
// of any function here settles them for the life of the process.
namespace orx::config {

enum class ServerSet { Global, China, Development };

// Paths of the two SOAP endpoints, the same on every server set.
inline constexpr std::string_view kCustomerInfoPath = "/ws/lumcusinfo.asmx";
inline constexpr std::string_view kAccountServicePath = "/ws/OrvaService.asmx";

// The server set's HTTPS origin, without a slash at its end.
std::string_view originOf(ServerSet set);

// The address of a path on a server set. Throws std::invalid_argument when a host that was built in
// makes no URL.
URL serviceURL(ServerSet set, std::string_view path);

// The namespace of the service's elements; may stand between quotes in XML as it is.
std::string_view serviceNamespace();

}  // namespace orx::config
