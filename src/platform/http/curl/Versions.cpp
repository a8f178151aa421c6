#include <curl/curl.h>

#include "platform/http/Transport.h"

namespace orx::platform {

std::string transportVersions() {
  const auto* libcurl = curl_version_info(CURLVERSION_NOW);
  std::string versions = std::string("libcurl/") + libcurl->version;
  // Absent where libcurl has no TLS at all.
  if (libcurl->ssl_version != nullptr) versions += std::string(" ") + libcurl->ssl_version;
  return versions;
}

}  // namespace orx::platform
