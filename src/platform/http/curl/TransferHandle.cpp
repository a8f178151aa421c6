#include "platform/http/curl/TransferHandle.h"

#include <curl/curl.h>

#include <tuple>

namespace orx::platform {
namespace {

static_assert(CURL_ERROR_SIZE <= std::tuple_size<decltype(TransferHandle::errorText)>());

bool parse(const std::string& text, CURLU* parsed) {
  // Not to be taken for relative to what stood there.
  curl_url_set(parsed, CURLUPART_URL, nullptr, 0);
  // As libcurl reads the place that a redirect names.
  constexpr unsigned flags = CURLU_NON_SUPPORT_SCHEME | CURLU_ALLOW_SPACE | CURLU_URLENCODE;
  if (curl_url_set(parsed, CURLUPART_URL, text.c_str(), flags) != CURLUE_OK) return false;
  // libcurl loses an IPv6 address's zone when it copies a parsed URL.
  char* zone = nullptr;
  const bool hasZone = curl_url_get(parsed, CURLUPART_ZONEID, &zone, 0) == CURLUE_OK;
  curl_free(zone);
  return !hasZone;
}

}  // namespace

TransferHandle::~TransferHandle() {
  curl_easy_cleanup(easy);
  curl_url_cleanup(static_cast<CURLU*>(parsedURL_));
}

// A parsed URL spares libcurl the parsing at each request, which is a tenth of what it does then.
// What cannot be parsed stays text, which it refuses in its own words.
void TransferHandle::setURL(const std::string& text) {
  if (url_ == text) return;
  url_.clear();
  if (parsedURL_ == nullptr) parsedURL_ = curl_url();
  auto* parsed = static_cast<CURLU*>(parsedURL_);
  curl_easy_setopt(easy, CURLOPT_CURLU, parse(text, parsed) ? parsed : nullptr);
  if (curl_easy_setopt(easy, CURLOPT_URL, text.c_str()) == CURLE_OK) url_ = text;
}

void TransferHandle::reset() {
  curl_easy_reset(easy);
  url_.clear();
}

}  // namespace orx::platform
