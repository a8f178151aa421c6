#include "platform/http/URLParser.h"

#include <curl/curl.h>

#include <memory>
#include <new>

namespace orx::platform {
namespace {

struct Cleanup {
  void operator()(CURLU* url) const { curl_url_cleanup(url); }
  void operator()(char* text) const { curl_free(text); }
};

// Without memory a good URL would pass for none, and the caller would blame its text.
bool succeeded(CURLUcode code) {
  if (code == CURLUE_OUT_OF_MEMORY) throw std::bad_alloc();
  return code == CURLUE_OK;
}

std::string part(CURLU* url, CURLUPart which) {
  char* text = nullptr;
  if (!succeeded(curl_url_get(url, which, &text, 0))) return {};
  const std::unique_ptr<char, Cleanup> owned(text);
  return owned.get();
}

}  // namespace

std::optional<URLParts> parsedURL(const std::string& text) {
  const std::unique_ptr<CURLU, Cleanup> url(curl_url());
  if (!url) throw std::bad_alloc();
  // Any scheme is a URL; that only https is fetched is decided when a transfer starts.
  if (!succeeded(curl_url_set(url.get(), CURLUPART_URL, text.c_str(), CURLU_NON_SUPPORT_SCHEME))) {
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
