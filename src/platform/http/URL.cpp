// SPDX-License-Identifier: MIT
#include <ORXAccount/platform/URL.h>

#include <algorithm>
#include <utility>

#include "platform/base/Text.h"
#include "platform/http/URLParser.h"

namespace orx {

using namespace platform;

namespace {

constexpr std::string_view hexDigits = "0123456789ABCDEFabcdef";

bool isIn(std::string_view set, char c) { return set.find(c) != std::string_view::npos; }

// RFC 3986: every character is one that stands for itself or has a meaning, or belongs to a "%"
// with two hexadecimal digits.
bool isSpelledRightly(std::string_view text) {
  for (std::size_t at = 0; at < text.size(); ++at) {
    const char c = text[at];
    if (c == '%') {
      if (text.size() - at < 3 || !isIn(hexDigits, text[at + 1]) ||
          !isIn(hexDigits, text[at + 2])) {
        return false;
      }
    } else if (!isLetter(c) && !isDigit(c) && !isIn("-._~:/?#[]@!$&'()*+,;=", c)) {
      return false;
    }
  }
  return true;
}

bool isScheme(std::string_view text) {
  return !text.empty() && isLetter(text.front()) && std::ranges::all_of(text, [](char c) {
    return isLetter(c) || isDigit(c) || isIn("+-.", c);
  });
}

// "scheme://authority…" as RFC 3986 wants it. Checked before the parser, which is lenient: it
// trims, escapes, guesses a scheme that is missing, and overlooks a third slash.
bool isStrictURL(std::string_view text) {
  const auto colon = text.find("://");
  if (colon == std::string_view::npos || !isScheme(text.substr(0, colon))) return false;
  const auto rest = text.substr(colon + 3);
  const auto authority = rest.substr(0, rest.find_first_of("/?#"));
  const auto user = authority.substr(0, authority.find('@') + 1);
  const auto after = rest.substr(authority.size());
  // Brackets stand around an IPv6 address alone, which the parser reads. One "#" begins the
  // fragment, and one "@" ends the user's name.
  const auto hasBracket = [](std::string_view part) {
    return part.find_first_of("[]") != std::string_view::npos;
  };
  return !authority.empty() && isSpelledRightly(rest) && !hasBracket(user) && !hasBracket(after) &&
         std::ranges::count(after, '#') <= 1 && std::ranges::count(authority, '@') <= 1;
}

// The parts of a URL so plain that all parsers read it alike: https, a host's name of letters,
// digits and hyphens, no port, and nothing to decode or to resolve in the path. The service's own
// are, so that a process which makes no call need not load the transport's parser.
std::optional<platform::URLParts> plainParts(std::string_view text) {
  constexpr std::string_view scheme = "https://";
  constexpr std::size_t longest = 2'000;
  if (!text.starts_with(scheme) || text.size() > longest) return std::nullopt;
  text.remove_prefix(scheme.size());
  const auto host = text.substr(0, text.find_first_of("/?#"));
  const auto rest = text.substr(host.size());
  const auto path = rest.substr(0, rest.find_first_of("?#"));
  const bool isName =
      std::ranges::all_of(host, [](char c) { return isLetter(c) || isDigit(c) || isIn("-.", c); });
  // Another last label would be a number's: an address, in one of its spellings.
  const auto last = host.substr(host.rfind('.') + 1);
  if (!isName || last.empty() || !isLetter(last.front()) || isIn(path, '%') ||
      path.find("/.") != std::string_view::npos) {
    return std::nullopt;
  }
  return platform::URLParts{
      .scheme = "https", .host = std::string(host), .path = path.empty() ? "/" : std::string(path)};
}

}  // namespace

struct URL::Content {
  std::string text;
  platform::URLParts parts;
};

URL::URL(std::shared_ptr<const Content> content) : content_(std::move(content)) {}

std::optional<URL> URL::URLWithString(std::string_view text) {
  if (!isStrictURL(text)) return std::nullopt;
  std::string copy(text);
  auto parts = plainParts(text);
  if (!parts) parts = platform::parsedURL(copy);
  if (!parts) return std::nullopt;
  std::ranges::transform(parts->host, parts->host.begin(), lowerCase);
  return URL(std::make_shared<Content>(Content{std::move(copy), *std::move(parts)}));
}

const std::string& URL::absoluteString() const { return content_->text; }

const std::string& URL::scheme() const { return content_->parts.scheme; }

const std::string& URL::host() const { return content_->parts.host; }

const std::string& URL::path() const { return content_->parts.path; }

bool operator==(const URL& left, const URL& right) {
  return left.absoluteString() == right.absoluteString();
}

}  // namespace orx
