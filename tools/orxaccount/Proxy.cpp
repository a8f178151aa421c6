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
constexpr auto kNone = std::string_view::npos;

bool hasScheme(std::string_view proxy) { return proxy.find(kEndOfScheme) != kNone; }

std::string_view withoutScheme(std::string_view proxy) {
  return hasScheme(proxy) ? proxy.substr(proxy.find(kEndOfScheme) + kEndOfScheme.size()) : proxy;
}

bool hasUsableScheme(std::string_view proxy) {
  constexpr std::array<std::string_view, 7> kSchemes{"http",    "https",  "socks",  "socks4",
                                                     "socks4a", "socks5", "socks5h"};
  const auto end = proxy.find(kEndOfScheme);
  return end == kNone ||
         std::ranges::find(kSchemes, lowered(std::string(proxy.substr(0, end)))) != kSchemes.end();
}

bool isPort(std::string_view text) {
  std::uint16_t port = 0;
  const char* end = text.data() + text.size();
  const auto [stop, problem] = std::from_chars(text.data(), end, port);
  return problem == std::errc() && stop == end;
}

// Escapes that are none stay as they are.
std::string decoded(std::string_view text) {
  std::string plain;
  for (std::size_t i = 0; i < text.size(); ++i) {
    unsigned char byte = static_cast<unsigned char>(text[i]);
    const char* escape = text.data() + i + 1;
    const bool isEscape = byte == '%' && i + 2 < text.size() &&
                          std::from_chars(escape, escape + 2, byte, 16).ptr == escape + 2;
    if (isEscape) i += 2;
    plain.push_back(static_cast<char>(byte));
  }
  return plain;
}

bool isControl(unsigned char letter) { return letter < ' '; }

bool isName(std::string_view host) {
  const std::string name = decoded(host);
  return !name.empty() && std::ranges::none_of(name, isControl) &&
         name.find_first_of(" !\"#$&'()*+,/:;<=>?@[\\]^`{}\x7F") == kNone;
}

// In brackets, which its colons need.
bool isIPv6Address(std::string_view host) {
  if (!host.starts_with('[') || !host.ends_with(']')) return false;
  host = host.substr(1, host.size() - 2);
  const std::string_view zone = host.substr(std::min(host.find('%'), host.size()));
  host.remove_suffix(zone.size());
  return host.find(':') != kNone && host.find_first_not_of("0123456789abcdefABCDEF:.") == kNone;
}

// Only the socket of a SOCKS proxy on this machine has a path.
bool mayFollow(std::string_view rest, std::string_view host, std::string_view text) {
  if (rest.ends_with('#')) rest.remove_suffix(1);
  const bool isSocket = host == "localhost" && lowered(std::string(text)).starts_with("socks");
  return rest.empty() || rest == "/" || (isSocket && rest.find_first_of("?#") == kNone);
}

}  // namespace

bool holdsPassword(std::string_view proxy) {
  proxy = withoutScheme(proxy);
  const auto at = proxy.rfind('@');
  return at != kNone && proxy.substr(0, at).find(':') != kNone;
}

bool isProxy(std::string_view text) {
  if (!hasUsableScheme(text)) return false;
  std::string_view place = withoutScheme(text);
  // A "/", "?", "#" or "@" of a password that is not escaped ends the host's name too early.
  const std::string_view rest = place.substr(std::min(place.find_first_of("/?#"), place.size()));
  place.remove_suffix(rest.size());
  if (std::ranges::count(place, '@') > 1) return false;
  const std::string_view login = place.substr(0, place.find('@') + 1);
  if (std::ranges::any_of(decoded(login), isControl)) return false;
  place.remove_prefix(login.size());
  const auto bracket = place.rfind(']');
  const auto colon = place.find(':', bracket == kNone ? 0 : bracket);
  const auto host = place.substr(0, colon);
  const bool hasPort = colon != kNone && (colon + 1 < place.size() || !hasScheme(text));
  return (isName(host) || isIPv6Address(host)) && (!hasPort || isPort(place.substr(colon + 1))) &&
         mayFollow(rest, host, text);
}

}  // namespace tool
