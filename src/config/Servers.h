#pragma once

#include <ORXAccount/platform/URL.h>

#include <string>
#include <string_view>

namespace orx::config {

enum class ServerSet { Global, China, Development };

// Paths of the two SOAP endpoints, the same on every server set.
inline constexpr std::string_view kCustomerInfoPath = "/ws/lumcusinfo.asmx";
inline constexpr std::string_view kAccountServicePath = "/ws/OrvaService.asmx";

// The server set's HTTPS origin, without a slash at its end.
std::string_view originOf(ServerSet servers);

// The address of a path on a server set. Throws std::logic_error when the host that was built in
// makes no URL.
URL serviceURL(ServerSet servers, std::string_view path);

}  // namespace orx::config
