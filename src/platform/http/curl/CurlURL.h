// SPDX-License-Identifier: MIT
#pragma once

#include <curl/curl.h>

#include <memory>
#include <new>
#include <optional>
#include <string>

#include "platform/base/Wiping.h"
#include "platform/http/curl/LibCurl.h"

namespace orx::platform {

struct FreeCurlURL {
  void operator()(CURLU* url) const { curl_url_cleanup(url); }
  void operator()(char* text) const { curl_free(text); }
};
using CurlURL = std::unique_ptr<CURLU, FreeCurlURL>;

// Without memory a good URL would pass for none, and the caller would blame its text.
inline bool succeeded(CURLUcode code) {
  if (code == CURLUE_OUT_OF_MEMORY) throw std::bad_alloc();
  return code == CURLUE_OK;
}

// Null when libcurl does not take the text for a URL, or cannot be loaded.
inline CurlURL parsedByCurl(const std::string& text, unsigned flags) {
  if (!missingLibcurl().empty()) return nullptr;
  CurlURL url(curl_url());
  if (!url) throw std::bad_alloc();
  if (!succeeded(curl_url_set(url.get(), CURLUPART_URL, text.c_str(), flags))) return nullptr;
  return url;
}

// Absent when the URL has no such part. Some are passwords.
inline std::optional<Wiped<std::string>> partOf(const CurlURL& url, CURLUPart which,
                                                unsigned flags = 0) {
  char* text = nullptr;
  if (!succeeded(curl_url_get(url.get(), which, &text, flags))) return std::nullopt;
  const std::unique_ptr<char, FreeCurlURL> owned(text);
  return Wiped<std::string>(text);
}

}  // namespace orx::platform
