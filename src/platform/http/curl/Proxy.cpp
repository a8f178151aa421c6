// SPDX-License-Identifier: MIT
#include "platform/http/curl/Proxy.h"

#include <stdlib.h>

#include <algorithm>
#include <array>
#include <initializer_list>
#include <string_view>

#include "platform/http/curl/CurlURL.h"

namespace orx::platform {
namespace {

constexpr std::array<std::string_view, 7> schemes{"http",    "https",  "socks",  "socks4",
                                                  "socks4a", "socks5", "socks5h"};

// A password with a "/", "?" or "#" that is not escaped ends the host's name too early, and the
// rest of it is then found here. Only the socket of a SOCKS proxy on this machine has a path.
bool hasStrayParts(const CurlURL& url, std::string_view scheme, std::string_view host) {
  if (partOf(url, CURLUPART_QUERY) || partOf(url, CURLUPART_FRAGMENT)) return true;
  const bool mayHavePath = scheme.starts_with("socks") && host == "localhost";
  return !mayHavePath && partOf(url, CURLUPART_PATH).value_or("/") != "/";
}

// False for a part with an escaped control character. libcurl would drop the proxy for it, and send
// the request past it.
bool canBeDecoded(const CurlURL& url, CURLUPart which) {
  return !partOf(url, which) || partOf(url, which, CURLU_URLDECODE);
}

Wiped<std::string> credentialsOf(const CurlURL& url) {
  const auto user = partOf(url, CURLUPART_USER);
  const auto password = partOf(url, CURLUPART_PASSWORD);
  Wiped<std::string> both;
  if (!user && !password) return both;
  both.makeRoom((user ? user->size() : 0) + 1 + (password ? password->size() : 0));
  if (user) both += *user;
  both += ':';
  if (password) both += *password;
  return both;
}

// The first of the variables that holds something.
std::string firstOf(std::initializer_list<const char*> variables) {
  for (const char* variable : variables) {
    const char* value = secure_getenv(variable);
    if (value != nullptr && *value != '\0') return value;
  }
  return {};
}

}  // namespace

std::optional<Proxy> parsedProxy(const std::string& text) {
  constexpr unsigned flags = CURLU_NON_SUPPORT_SCHEME | CURLU_GUESS_SCHEME;
  const CurlURL url = parsedByCurl(text, flags);
  if (!url) return std::nullopt;
  const auto scheme = partOf(url, CURLUPART_SCHEME).value_or("");
  Proxy proxy;
  proxy.host = partOf(url, CURLUPART_HOST).value_or("");
  proxy.isReachedOverTLS = scheme == "https";
  if (std::ranges::find(schemes, scheme) == schemes.end() ||
      hasStrayParts(url, scheme, proxy.host) || !canBeDecoded(url, CURLUPART_USER) ||
      !canBeDecoded(url, CURLUPART_PASSWORD)) {
    return std::nullopt;
  }
  proxy.credentials = credentialsOf(url);
  curl_url_set(url.get(), CURLUPART_USER, nullptr, 0);
  curl_url_set(url.get(), CURLUPART_PASSWORD, nullptr, 0);
  proxy.url = partOf(url, CURLUPART_URL).value_or("");
  // The host's escapes are decoded by now; what they hid may be in no name of a host, or a number
  // that is an address.
  const CurlURL taken = parsedByCurl(proxy.url, flags);
  if (!taken) return std::nullopt;
  proxy.host = partOf(taken, CURLUPART_HOST).value_or("");
  return proxy;
}

URLSessionConfiguration withProxyOfEnvironment(const URLSessionConfiguration& configuration) {
  if (configuration.proxy()) return configuration;
  // The names, and their order, that libcurl looks for.
  auto proxy = firstOf({"https_proxy", "HTTPS_PROXY", "all_proxy", "ALL_PROXY"});
  if (proxy.empty()) return configuration;
  auto completed = configuration;
  completed.setProxy(std::move(proxy));
  completed.setProxyExceptions(firstOf({"no_proxy", "NO_PROXY"}));
  return completed;
}

}  // namespace orx::platform
