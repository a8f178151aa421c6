// SPDX-License-Identifier: MIT
#include "platform/http/URLParser.h"

#include <initializer_list>

#include "platform/http/curl/CurlURL.h"

namespace orx::platform {

std::optional<URLParts> parsedURL(const std::string& text) {
  // Any scheme is a URL; that only https is fetched is decided when a transfer starts.
  const CurlURL url = parsedByCurl(text, CURLU_NON_SUPPORT_SCHEME);
  if (!url) return std::nullopt;
  URLParts parts{.scheme = partOf(url, CURLUPART_SCHEME).value_or(""),
                 .host = partOf(url, CURLUPART_HOST).value_or(""),
                 .path = partOf(url, CURLUPART_PATH).value_or("")};
  if (parts.scheme.empty() || parts.host.empty()) return std::nullopt;
  if (parts.path.empty()) parts.path.push_back('/');
  return parts;
}

std::string shownURL(const std::string& text) {
  // As libcurl reads the place that a redirect names.
  constexpr unsigned flags = CURLU_NON_SUPPORT_SCHEME | CURLU_ALLOW_SPACE | CURLU_URLENCODE;
  const CurlURL url = parsedByCurl(text, flags);
  if (!url) return {};
  for (const auto secret : {CURLUPART_USER, CURLUPART_PASSWORD, CURLUPART_OPTIONS, CURLUPART_QUERY,
                            CURLUPART_FRAGMENT}) {
    curl_url_set(url.get(), secret, nullptr, 0);
  }
  return partOf(url, CURLUPART_URL).value_or("");
}

}  // namespace orx::platform
