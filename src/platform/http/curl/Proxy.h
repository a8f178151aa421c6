// SPDX-License-Identifier: MIT
#pragma once

#include <ORXAccount/platform/URLSessionConfiguration.h>

#include <optional>
#include <string>

#include "platform/base/Wiping.h"

namespace orx::platform {

// A proxy as libcurl is told of it.
struct Proxy {
  // Without the user's name and password, which libcurl would repeat in the text of an error.
  std::string url;
  std::string host;
  bool isReachedOverTLS = false;
  // "name:password" with the escapes of the URL, as libcurl wants it; empty when there is none.
  Wiped<std::string> credentials;
};

// Absent when the text is no URL of a proxy. A scheme that is missing means http.
std::optional<Proxy> parsedProxy(const std::string& text);

// The configuration, or a copy with the proxy and the exceptions of the process environment where
// it leaves the proxy open. A program that runs with more rights than its user (set-user-ID) takes
// nothing from the environment. Reads it at each call, on the caller's thread.
URLSessionConfiguration withProxyOfEnvironment(const URLSessionConfiguration& configuration);

}  // namespace orx::platform
