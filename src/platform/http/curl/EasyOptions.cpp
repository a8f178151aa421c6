#include "platform/http/curl/EasyOptions.h"

#include <unistd.h>

#include <algorithm>
#include <utility>

namespace orx::platform {
namespace {

// Many calls may be in flight, and what they carry is small: most answers fit in one read. libcurl
// takes no smaller buffer for sending.
constexpr long receiveBufferSize = 2L * 1024;
constexpr long sendBufferSize = 16L * 1024;
// Seconds. A renewed CA file is taken up after this time at the latest; parsing the distribution's
// bundle for each connection would cost 34 ms of processor time.
constexpr long caStoreLifetime = 600;
// Beyond this libcurl's own time arithmetic overflows.
constexpr std::chrono::milliseconds longestTimeout = std::chrono::hours(24 * 20);

bool systemBundleIsReadable() {
  const char* bundle = curl_version_info(CURLVERSION_NOW)->cainfo;
  return bundle != nullptr && access(bundle, R_OK) == 0;
}

// libcurl wants numeric IPv6 addresses in brackets, to tell their colons from a port's.
std::string bracketed(const std::string& host) {
  return host.find(':') == std::string::npos ? host : '[' + host + ']';
}

CurlList connectToList(const URLSessionConfiguration& configuration) {
  CurlList list;
  for (const auto& [host, address] : configuration.connectTo) {
    list = appended(std::move(list), bracketed(host) + "::" + bracketed(address.host) + ':' +
                                         (address.port == 0 ? "" : std::to_string(address.port)));
  }
  return list;
}

std::chrono::milliseconds usableTimeout(std::chrono::milliseconds wanted) {
  if (wanted.count() <= 0) return URLSessionConfiguration{}.timeoutIntervalForRequest;
  return std::min(wanted, longestTimeout);
}

}  // namespace

CurlList appended(CurlList list, const std::string& line) {
  return CurlList(curl_slist_append(list.release(), line.c_str()));
}

EasyOptions::EasyOptions(std::shared_ptr<const URLSessionConfiguration> configuration)
    : configuration_(std::move(configuration)),
      timeout_(usableTimeout(configuration_->timeoutIntervalForRequest)),
      connectTo_(connectToList(*configuration_)),
      systemBundleIsReadable_(systemBundleIsReadable()) {}

void EasyOptions::applyTo(CURL* curl) const {
  // Signals belong to the host; libcurl would use SIGALRM and touch SIGPIPE.
  curl_easy_setopt(curl, CURLOPT_NOSIGNAL, 1L);
  // Else a time-out waits for a resolver thread that hangs.
  curl_easy_setopt(curl, CURLOPT_QUICK_EXIT, 1L);
  curl_easy_setopt(curl, CURLOPT_BUFFERSIZE, receiveBufferSize);
  curl_easy_setopt(curl, CURLOPT_UPLOAD_BUFFERSIZE, sendBufferSize);

  // HTTPS only, redirects included, and certificates are verified always.
  curl_easy_setopt(curl, CURLOPT_PROTOCOLS_STR, "https");
  curl_easy_setopt(curl, CURLOPT_REDIR_PROTOCOLS_STR, "https");
  curl_easy_setopt(curl, CURLOPT_SSL_VERIFYPEER, 1L);
  curl_easy_setopt(curl, CURLOPT_SSL_VERIFYHOST, 2L);
  curl_easy_setopt(curl, CURLOPT_SSLVERSION, CURL_SSLVERSION_TLSv1_2);
  curl_easy_setopt(curl, CURLOPT_CA_CACHE_TIMEOUT, caStoreLifetime);
  if (configuration_->caFile) {
    curl_easy_setopt(curl, CURLOPT_CAINFO, configuration_->caFile->c_str());
  }
  // The distribution's libcurl names a bundle and a directory with the same authorities, and keeps
  // the parsed store only when there is no directory. A configured file replaces both.
  if (configuration_->caFile || systemBundleIsReadable_) {
    curl_easy_setopt(curl, CURLOPT_CAPATH, nullptr);
  }

  // Offers "http/1.1" alone to the server: over HTTP/2 this libcurl loses answers.
  curl_easy_setopt(curl, CURLOPT_HTTP_VERSION, CURL_HTTP_VERSION_1_1);
  curl_easy_setopt(curl, CURLOPT_CONNECTTIMEOUT_MS, static_cast<long>(timeout_.count()));
  // The lines of a proxy's answer to CONNECT are no part of the reply.
  curl_easy_setopt(curl, CURLOPT_SUPPRESS_CONNECT_HEADERS, 1L);
  // Unset, libcurl looks into the environment; empty text means no proxy.
  if (configuration_->proxy) {
    curl_easy_setopt(curl, CURLOPT_PROXY, configuration_->proxy->c_str());
  }
  curl_easy_setopt(curl, CURLOPT_CONNECT_TO, connectTo_.get());
}

}  // namespace orx::platform
