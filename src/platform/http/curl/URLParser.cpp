// SPDX-License-Identifier: MIT
#include "platform/http/URLParser.h"

#include <algorithm>
#include <initializer_list>
#include <string_view>
#include <utility>

#include "platform/base/Text.h"
#include "platform/http/curl/CurlURL.h"

namespace orx::platform {
namespace {

// The parts as they are spelled.
std::optional<URLParts> spelledParts(std::string_view text) {
  const auto colon = text.find("://");
  if (colon == std::string_view::npos) return std::nullopt;
  URLParts parts{.scheme = std::string(text.substr(0, colon)), .host = {}, .path = {}};
  std::ranges::transform(parts.scheme, parts.scheme.begin(), lowerCase);
  text.remove_prefix(colon + 3);
  auto host = text.substr(0, text.find_first_of("/?#"));
  text.remove_prefix(host.size());
  host.remove_prefix(host.find('@') + 1);
  // The colons of an IPv6 address stand in brackets.
  host = host.substr(0, host.find(':', host.starts_with('[') ? host.find(']') : 0));
  parts.host = host;
  parts.path = text.substr(0, text.find_first_of("?#"));
  if (parts.path.empty()) parts.path.push_back('/');
  return host.empty() ? std::nullopt : std::optional(std::move(parts));
}

}  // namespace

std::optional<URLParts> parsedURL(const std::string& text) {
  // The text is not to blame where there are no descriptors or memory to load libcurl. A call says
  // then what is missing.
  if (!missingLibcurl().empty()) return spelledParts(text);
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
