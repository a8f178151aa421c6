#pragma once

#include <ORXAccount/platform/URLSessionConfiguration.h>
#include <curl/curl.h>

#include <chrono>
#include <memory>
#include <string>

namespace orx::platform {

struct FreeCurlList {
  void operator()(curl_slist* list) const { curl_slist_free_all(list); }
};
using CurlList = std::unique_ptr<curl_slist, FreeCurlList>;

// The list with a copy of the line at its end.
CurlList appended(CurlList list, const std::string& line);

// What a configuration means for an easy handle: everything that does not depend on the request.
// Made once for a configuration and shared by the handles, since a default configuration mostly
// stays the same for the life of the process.
class EasyOptions {
 public:
  explicit EasyOptions(std::shared_ptr<const URLSessionConfiguration> configuration);

  bool matches(const std::shared_ptr<const URLSessionConfiguration>& configuration) const {
    return configuration == configuration_ || *configuration == *configuration_;
  }
  // The configured time-out; one that is not positive counts as the default.
  std::chrono::milliseconds timeout() const { return timeout_; }

  // Sets them on a fresh or reset handle. These options must outlive the handle's use of them,
  // because libcurl does not copy lists.
  void applyTo(CURL* curl) const;

 private:
  std::shared_ptr<const URLSessionConfiguration> configuration_;
  std::chrono::milliseconds timeout_;
  CurlList connectTo_;
  bool systemBundleIsReadable_;
};

}  // namespace orx::platform
