#include "platform/http/curl/TransferOptions.h"

#include <curl/curl.h>
#include <unistd.h>

#include <algorithm>
#include <string>
#include <utility>

#include "platform/process/ForkSafety.h"

namespace orx::platform {
namespace {

// Many calls may be in flight, and what they carry is small: most answers fit in one read. libcurl
// takes no smaller buffer for sending.
constexpr long receiveBufferSize = 2L * 1024;
constexpr long sendBufferSize = 16L * 1024;
// A renewed CA file is taken up after this time at the latest.
constexpr long caStoreLifetime = 600;
constexpr std::chrono::milliseconds longestTimeout = std::chrono::hours(24 * 20);

// The distribution's libcurl names a bundle and a directory with the same authorities, and keeps
// the parsed store only when there is no directory.
bool systemBundleIsReadable() {
  static constinit ProcessWide<bool> isReadable;
  return isReadable.get([] {
    const char* bundle = curl_version_info(CURLVERSION_NOW)->cainfo;
    return bundle != nullptr && access(bundle, R_OK) == 0;
  });
}

// Numeric IPv6 addresses go into brackets.
std::string bracketed(const std::string& host) {
  return host.find(':') == std::string::npos ? host : '[' + host + ']';
}

CurlList connectToList(const URLSessionConfiguration& configuration) {
  curl_slist* list = nullptr;
  for (const auto& [host, address] : configuration.connectTo) {
    const std::string entry = bracketed(host) + "::" + bracketed(address.host) + ':' +
                              (address.port == 0 ? "" : std::to_string(address.port));
    list = curl_slist_append(list, entry.c_str());
  }
  return CurlList(list);
}

std::chrono::milliseconds usableTimeout(std::chrono::milliseconds wanted) {
  if (wanted.count() <= 0) return URLSessionConfiguration{}.timeoutIntervalForRequest;
  return std::min(wanted, longestTimeout);
}

}  // namespace

void FreeCurlList::operator()(curl_slist* list) const { curl_slist_free_all(list); }

TransferOptions::TransferOptions(std::shared_ptr<const URLSessionConfiguration> configuration)
    : configuration_(std::move(configuration)),
      timeout_(usableTimeout(configuration_->timeoutIntervalForRequest)),
      connectTo_(connectToList(*configuration_)) {}

void TransferOptions::applyTo(void* easy) const {
  curl_easy_setopt(easy, CURLOPT_NOSIGNAL, 1L);
  // A time-out must not wait for a resolver thread that hangs.
  curl_easy_setopt(easy, CURLOPT_QUICK_EXIT, 1L);
  curl_easy_setopt(easy, CURLOPT_BUFFERSIZE, receiveBufferSize);
  curl_easy_setopt(easy, CURLOPT_UPLOAD_BUFFERSIZE, sendBufferSize);

  curl_easy_setopt(easy, CURLOPT_PROTOCOLS_STR, "https");
  curl_easy_setopt(easy, CURLOPT_REDIR_PROTOCOLS_STR, "https");
  curl_easy_setopt(easy, CURLOPT_SSL_VERIFYPEER, 1L);
  curl_easy_setopt(easy, CURLOPT_SSL_VERIFYHOST, 2L);
  curl_easy_setopt(easy, CURLOPT_SSLVERSION, CURL_SSLVERSION_TLSv1_2);
  curl_easy_setopt(easy, CURLOPT_CA_CACHE_TIMEOUT, caStoreLifetime);
  if (configuration_->caFile) {
    curl_easy_setopt(easy, CURLOPT_CAINFO, configuration_->caFile->c_str());
    curl_easy_setopt(easy, CURLOPT_CAPATH, nullptr);
  } else if (systemBundleIsReadable()) {
    curl_easy_setopt(easy, CURLOPT_CAPATH, nullptr);
  }

  curl_easy_setopt(easy, CURLOPT_HTTP_VERSION,
                   configuration_->usesHTTP2 ? CURL_HTTP_VERSION_2TLS : CURL_HTTP_VERSION_1_1);
  // With HTTP/2, calls wait for the first connection rather than open one each.
  curl_easy_setopt(easy, CURLOPT_PIPEWAIT, configuration_->usesHTTP2 ? 1L : 0L);
  curl_easy_setopt(easy, CURLOPT_CONNECTTIMEOUT_MS, static_cast<long>(timeout_.count()));
  curl_easy_setopt(easy, CURLOPT_SUPPRESS_CONNECT_HEADERS, 1L);
  if (configuration_->proxy) {
    curl_easy_setopt(easy, CURLOPT_PROXY, configuration_->proxy->c_str());
  }
  curl_easy_setopt(easy, CURLOPT_CONNECT_TO, connectTo_.get());
}

}  // namespace orx::platform
