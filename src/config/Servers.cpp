// SPDX-License-Identifier: MIT
#include "config/Servers.h"

#include <ORXAccount/ORVAAccount.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdint>
#include <stdexcept>
#include <string>

#include "platform/base/Text.h"
#include "platform/process/ForkSafety.h"

namespace orx {

using namespace platform;

namespace config {
namespace {

struct Servers {
  std::array<std::string, 3> origins;
  // Nearly every call goes to one of these, so they are parsed once.
  std::array<URL, 3> customerInfoURLs;
  std::string serviceNamespace;
};

constinit ProcessWide<Servers> serversInForce;

bool isLetterOrDigit(char c) { return isLetter(c) || isDigit(c); }

bool isOfLettersDigitsAnd(std::string_view marks, std::string_view text) {
  return !text.empty() && std::ranges::all_of(text, [marks](char c) {
    return isLetterOrDigit(c) || marks.find(c) != std::string_view::npos;
  });
}

bool isPort(std::string_view text) {
  std::uint16_t port = 0;
  const char* end = text.data() + text.size();
  const auto [stop, problem] = std::from_chars(text.data(), end, port);
  return problem == std::errc() && stop == end && port != 0;
}

// cmake/CheckServers.cmake checks what is built in by the same two rules.
bool isHost(std::string_view text) {
  const std::size_t colon = text.find(':');
  if (colon != std::string_view::npos && !isPort(text.substr(colon + 1))) return false;
  const std::string_view name = text.substr(0, colon);
  return isOfLettersDigitsAnd(".-", name) && isLetterOrDigit(name.front()) &&
         isLetterOrDigit(name.back());
}

// It goes into the envelopes as it stands, so it holds neither "&" nor the "%" of a place to fill.
bool isNamespace(std::string_view text) { return isOfLettersDigitsAnd("._~:/?#@!$'()*+,=-", text); }

std::invalid_argument unusable(std::string_view what, std::string_view text, std::string_view is) {
  std::string message(what);
  message += " is '";
  message += text;
  message += "', which is no ";
  message += is;
  return std::invalid_argument(message);
}

std::string originAt(std::string_view what, std::string_view host) {
  if (!isHost(host)) throw unusable(what, host, "host name");
  return "https://" + std::string(host);
}

URL urlAt(std::string_view origin, std::string_view path) {
  std::string text(origin);
  text += path;
  auto url = URL::URLWithString(text);
  if (!url) throw unusable("the address of a server", text, "URL");
  return *std::move(url);
}

Servers serversAt(std::string_view globalHost, std::string_view chinaHost,
                  std::string_view developmentHost, std::string_view serviceNamespace) {
  if (!isNamespace(serviceNamespace)) {
    throw unusable("the service's namespace", serviceNamespace, "namespace");
  }
  std::array origins{originAt("the global host", globalHost), originAt("the China host", chinaHost),
                     originAt("the development host", developmentHost)};
  return {.origins = origins,
          .customerInfoURLs = {urlAt(origins[0], kCustomerInfoPath),
                               urlAt(origins[1], kCustomerInfoPath),
                               urlAt(origins[2], kCustomerInfoPath)},
          .serviceNamespace = std::string(serviceNamespace)};
}

const Servers& servers() {
  return serversInForce.get([] {
    return serversAt(ORX_GLOBAL_HOST, ORX_CHINA_HOST, ORX_DEVELOPMENT_HOST, ORX_SERVICE_NAMESPACE);
  });
}

}  // namespace

std::string_view originOf(ServerSet set) {
  return servers().origins.at(static_cast<std::size_t>(set));
}

URL serviceURL(ServerSet set, std::string_view path) {
  if (path == kCustomerInfoPath) {
    return servers().customerInfoURLs.at(static_cast<std::size_t>(set));
  }
  return urlAt(originOf(set), path);
}

std::string_view serviceNamespace() { return servers().serviceNamespace; }

}  // namespace config

void ORVAAccount::setServersWithGlobalHost_chinaHost_developmentHost_serviceNamespace(
    std::string_view globalHost, std::optional<std::string_view> chinaHost,
    std::optional<std::string_view> developmentHost,
    std::optional<std::string_view> serviceNamespace) {
  using namespace config;
  const Servers wanted =
      serversAt(globalHost, chinaHost.value_or(globalHost), developmentHost.value_or(globalHost),
                serviceNamespace.value_or(ORX_SERVICE_NAMESPACE));
  const Servers& present = serversInForce.get([&] { return Servers(wanted); });
  if (present.origins == wanted.origins && present.serviceNamespace == wanted.serviceNamespace) {
    return;
  }
  throw std::invalid_argument(
      "other servers are in use already: they are set once, before ORVAAccount is initialised and "
      "before any call");
}

}  // namespace orx
