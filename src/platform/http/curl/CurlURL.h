#pragma once

#include <curl/curl.h>

#include <memory>
#include <optional>
#include <string>

namespace orx::platform {

struct FreeCurlURL {
  void operator()(CURLU* url) const { curl_url_cleanup(url); }
};
using CurlURL = std::unique_ptr<CURLU, FreeCurlURL>;

// Null when libcurl does not take the text for a URL.
inline CurlURL parsedByCurl(const std::string& text, unsigned flags) {
  CurlURL url(curl_url());
  if (url && curl_url_set(url.get(), CURLUPART_URL, text.c_str(), flags) != CURLUE_OK) url.reset();
  return url;
}

// Absent when the URL has no such part.
inline std::optional<std::string> partOf(const CurlURL& url, CURLUPart which, unsigned flags = 0) {
  char* text = nullptr;
  if (curl_url_get(url.get(), which, &text, flags) != CURLUE_OK) return std::nullopt;
  std::string copy(text);
  curl_free(text);
  return copy;
}

}  // namespace orx::platform
