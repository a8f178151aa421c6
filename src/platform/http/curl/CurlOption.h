// SPDX-License-Identifier: MIT
#pragma once

#include <curl/curl.h>

#include <new>
#include <string>

namespace orx::platform {

// libcurl copies the text. Without memory for that it would go on as if the option were not set:
// with another authority's certificates, or without the proxy.
inline void setText(CURL* curl, CURLoption option, const std::string& text) {
  if (curl_easy_setopt(curl, option, text.c_str()) == CURLE_OUT_OF_MEMORY) throw std::bad_alloc();
}

}  // namespace orx::platform
