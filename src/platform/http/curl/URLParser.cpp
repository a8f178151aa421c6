#include "platform/http/URLParser.h"

#include <curl/curl.h>

#include <memory>

namespace orx::platform {
namespace {

struct Cleanup {
  void operator()(CURLU* url) const { curl_url_cleanup(url); }
};

std::string part(CURLU* url, CURLUPart which) {
  char* text = nullptr;
  if (curl_url_get(url, which, &text, 0) != CURLUE_OK) return {};
  std::string copy(text);
  curl_free(text);
  return copy;
}

}  // namespace

std::optional<URLParts> parsedURL(const std::string& text) {
  const std::unique_ptr<CURLU, Cleanup> url(curl_url());
  // Any scheme is a URL; that only https is fetched is decided when a transfer starts.
  if (!url ||
      curl_url_set(url.get(), CURLUPART_URL, text.c_str(), CURLU_NON_SUPPORT_SCHEME) != CURLUE_OK) {
    return std::nullopt;
  }
  URLParts parts{.scheme = part(url.get(), CURLUPART_SCHEME),
                 .host = part(url.get(), CURLUPART_HOST),
                 .path = part(url.get(), CURLUPART_PATH)};
  if (parts.scheme.empty() || parts.host.empty()) return std::nullopt;
  if (parts.path.empty()) parts.path.push_back('/');
  return parts;
}

}  // namespace orx::platform
