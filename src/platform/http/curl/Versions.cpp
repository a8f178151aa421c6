// SPDX-License-Identifier: MIT
#include <curl/curl.h>

#include "platform/http/Transport.h"
#include "platform/http/curl/LibCurl.h"

namespace orx::platform {

std::string transportVersions() {
  if (!missingLibcurl().empty()) return "libcurl/none";
  const auto* libcurl = curl_version_info(CURLVERSION_NOW);
  std::string versions = std::string("libcurl/") + libcurl->version;
  // Absent where libcurl has no TLS at all.
  if (libcurl->ssl_version != nullptr) versions += std::string(" ") + libcurl->ssl_version;
  return versions;
}

}  // namespace orx::platform
