// SPDX-License-Identifier: MIT
#include <ORXAccount/platform/URL.h>

#include "FuzzTarget.h"
#include "platform/http/URLParser.h"
#include "platform/http/curl/CurlURL.h"
#include "platform/http/curl/Proxy.h"

namespace {

using namespace orx::platform;

// The text of a URL, of a redirect's place and of a proxy.
void readURL(std::string_view text) {
  const auto url = orx::URL::URLWithString(text);
  if (!url) return;
  ORX_FUZZ_CHECK(url->absoluteString() == text);
  ORX_FUZZ_CHECK(*orx::URL::URLWithString(text) == *url);
  // The parts that are read without the transport's parser are those that it would give.
  const auto parts = parsedURL(std::string(text));
  ORX_FUZZ_CHECK(parts);
  std::string host = parts->host;
  for (char& c : host) {
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
  }
  ORX_FUZZ_CHECK(url->scheme() == parts->scheme && url->host() == host && !host.empty());
  ORX_FUZZ_CHECK(url->path() == parts->path && url->path().starts_with('/'));
}

// What people are shown names neither user nor password, query nor fragment.
void showURL(const std::string& text) {
  const std::string shown = shownURL(text);
  if (shown.empty()) return;
  constexpr unsigned flags = CURLU_NON_SUPPORT_SCHEME | CURLU_ALLOW_SPACE | CURLU_URLENCODE;
  const CurlURL url = parsedByCurl(shown, flags);
  if (!url) return;
  for (const auto secret :
       {CURLUPART_USER, CURLUPART_PASSWORD, CURLUPART_QUERY, CURLUPART_FRAGMENT}) {
    ORX_FUZZ_CHECK(!partOf(url, secret));
  }
}

void readProxy(const std::string& text) {
  const auto proxy = parsedProxy(text);
  if (!proxy) return;
  ORX_FUZZ_CHECK(!proxy->host.empty() && !proxy->url.empty());
  // Without credentials, it is the same proxy.
  const auto again = parsedProxy(proxy->url);
  ORX_FUZZ_CHECK(again && again->credentials.empty());
  ORX_FUZZ_CHECK(again->host == proxy->host && again->isReachedOverTLS == proxy->isReachedOverTLS);
}

}  // namespace

ORX_FUZZ_TARGET(text) {
  readURL(text);
  showURL(std::string(text));
  readProxy(std::string(text));
}
