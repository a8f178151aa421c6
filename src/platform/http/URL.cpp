#include <ORXAccount/platform/URL.h>
#include <curl/curl.h>

#include <memory>

namespace orx {
namespace {

struct Cleanup {
  void operator()(CURLU* url) const { curl_url_cleanup(url); }
};

std::optional<std::string> part(CURLU* url, CURLUPart which) {
  char* text = nullptr;
  if (curl_url_get(url, which, &text, 0) != CURLUE_OK) return std::nullopt;
  std::string copy(text);
  curl_free(text);
  return copy;
}

// The parser trims and mends some of what a URL must not hold.
bool isPlainASCII(std::string_view text) {
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    if (byte <= 0x20 || byte >= 0x7F) return false;
    if (std::string_view(R"("<>\^`{|})").find(c) != std::string_view::npos) return false;
  }
  return true;
}

bool isLetter(char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); }

// "scheme://host…": the parser would guess what is missing and drop a slash too many.
bool namesSchemeAndHost(std::string_view text) {
  const auto colon = text.find("://");
  return colon != std::string_view::npos && isLetter(text.front()) &&
         !text.substr(colon + 3).starts_with('/');
}

}  // namespace

std::optional<URL> URL::URLWithString(std::string_view text) {
  if (!namesSchemeAndHost(text) || !isPlainASCII(text)) return std::nullopt;
  const std::unique_ptr<CURLU, Cleanup> parsed(curl_url());
  if (!parsed) return std::nullopt;
  Parts parts;
  parts.text = text;
  // Any scheme is a URL; which of them is fetched is the session's matter.
  if (curl_url_set(parsed.get(), CURLUPART_URL, parts.text.c_str(), CURLU_NON_SUPPORT_SCHEME) !=
      CURLUE_OK) {
    return std::nullopt;
  }
  auto scheme = part(parsed.get(), CURLUPART_SCHEME);
  auto host = part(parsed.get(), CURLUPART_HOST);
  if (!scheme || !host || host->empty()) return std::nullopt;
  parts.scheme = *std::move(scheme);
  parts.host = *std::move(host);
  for (char& c : parts.host) {
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
  }
  parts.path = part(parsed.get(), CURLUPART_PATH).value_or("/");
  return URL(std::move(parts));
}

}  // namespace orx
