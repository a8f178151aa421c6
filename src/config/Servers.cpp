#include "config/Servers.h"

#include <array>
#include <stdexcept>

#include "platform/process/ForkSafety.h"

namespace orx::config {

using namespace platform;

std::string_view originOf(ServerSet servers) {
  switch (servers) {
    case ServerSet::China:
      return "https://" ORX_CHINA_HOST;
    case ServerSet::Development:
      return "https://" ORX_DEVELOPMENT_HOST;
    case ServerSet::Global:
      break;
  }
  return "https://" ORX_GLOBAL_HOST;
}

namespace {

URL parsedURL(ServerSet servers, std::string_view path) {
  std::string text(originOf(servers));
  text += path;
  auto url = URL::URLWithString(text);
  if (!url) throw std::logic_error("the built-in server address is no URL: " + text);
  return *std::move(url);
}

}  // namespace

URL serviceURL(ServerSet servers, std::string_view path) {
  // Nearly every call goes here, so these are parsed once.
  if (path == kCustomerInfoPath) {
    static constinit ProcessWide<std::array<URL, 3>> endpoints;
    const auto parsed = [path] {
      return std::array{parsedURL(ServerSet::Global, path), parsedURL(ServerSet::China, path),
                        parsedURL(ServerSet::Development, path)};
    };
    return endpoints.get(parsed).at(static_cast<std::size_t>(servers));
  }
  return parsedURL(servers, path);
}

}  // namespace orx::config
