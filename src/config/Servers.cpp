#include "config/Servers.h"

#include <stdexcept>

namespace orx {

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

URL serviceURL(ServerSet servers, std::string_view path) {
  std::string text(originOf(servers));
  text += path;
  auto url = URL::URLWithString(text);
  if (!url) throw std::logic_error("the built-in server address is no URL: " + text);
  return *std::move(url);
}

}  // namespace orx
