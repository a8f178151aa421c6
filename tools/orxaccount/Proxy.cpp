// SPDX-License-Identifier: MIT
#include "Proxy.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdint>
#include <string>

#include "Secrets.h"

namespace tool {
namespace {

constexpr std::string_view kEndOfScheme = "://";

std::string_view withoutScheme(std::string_view proxy) {
  const auto scheme = proxy.find(kEndOfScheme);
  return scheme == std::string_view::npos ? proxy : proxy.substr(scheme + kEndOfScheme.size());
}

bool hasUsableScheme(std::string_view proxy) {
  constexpr std::array<std::string_view, 7> kSchemes{"http",    "https",  "socks",  "socks4",
                                                     "socks4a", "socks5", "socks5h"};
  const auto end = proxy.find(kEndOfScheme);
  return end == std::string_view::npos ||
         std::ranges::find(kSchemes, lowered(std::string(proxy.substr(0, end)))) != kSchemes.end();
}

bool isPort(std::string_view text) {
  std::uint16_t port = 0;
  const char* end = text.data() + text.size();
  const auto [stop, problem] = std::from_chars(text.data(), end, port);
  return text.empty() || (problem == std::errc() && stop == end);
}

}  // namespace

bool holdsPassword(std::string_view proxy) {
  proxy = withoutScheme(proxy);
  const auto at = proxy.rfind('@');
  return at != std::string_view::npos && proxy.substr(0, at).find(':') != std::string_view::npos;
}

bool isProxy(std::string_view text) {
  if (!hasUsableScheme(text)) return false;
  std::string_view place = withoutScheme(text);
  place.remove_prefix(place.rfind('@') + 1);
  place = place.substr(0, place.find_first_of("/?#"));
  // The colons of an IPv6 address stand in brackets.
  const auto bracket = place.rfind(']');
  const auto colon = place.find(':', bracket == std::string_view::npos ? 0 : bracket);
  const auto host = place.substr(0, colon);
  const bool isName = !host.empty() && std::ranges::none_of(host, [](unsigned char letter) {
    return letter <= ' ' || letter == 0x7F;
  });
  return isName && (colon == std::string_view::npos || isPort(place.substr(colon + 1)));
}

}  // namespace tool
