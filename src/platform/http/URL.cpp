#include <ORXAccount/platform/URL.h>

#include <algorithm>

#include "platform/http/URLParser.h"

namespace orx {
namespace {

// Checked here because a lenient parser trims and escapes what a URL must not hold.
bool isPlainASCII(std::string_view text) {
  return std::ranges::all_of(text, [](char c) {
    const auto byte = static_cast<unsigned char>(c);
    const bool isForbidden = std::string_view(R"("<>\^`{|})").find(c) != std::string_view::npos;
    return byte > 0x20 && byte < 0x7F && !isForbidden;
  });
}

bool isLetter(char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); }

// "scheme://host…". Checked here because a lenient parser guesses a scheme that is missing, and
// overlooks a third slash.
bool namesSchemeAndHost(std::string_view text) {
  const auto colon = text.find("://");
  return colon != std::string_view::npos && isLetter(text.front()) &&
         !text.substr(colon + 3).starts_with('/');
}

}  // namespace

std::optional<URL> URL::URLWithString(std::string_view text) {
  if (!namesSchemeAndHost(text) || !isPlainASCII(text)) return std::nullopt;
  std::string copy(text);
  auto parts = platform::parsedURL(copy);
  if (!parts) return std::nullopt;
  for (char& c : parts->host) {
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
  }
  return URL({.text = std::move(copy),
              .scheme = std::move(parts->scheme),
              .host = std::move(parts->host),
              .path = std::move(parts->path)});
}

}  // namespace orx
