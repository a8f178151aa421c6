#pragma once

#include <ORXAccount/platform/URLSessionConfiguration.h>

#include <chrono>
#include <memory>

struct curl_slist;

namespace orx::platform {

struct FreeCurlList {
  void operator()(curl_slist* list) const;
};
using CurlList = std::unique_ptr<curl_slist, FreeCurlList>;

// What a configuration means for a libcurl handle: everything that does not depend on the request.
class TransferOptions {
 public:
  explicit TransferOptions(std::shared_ptr<const URLSessionConfiguration> configuration);

  bool areOf(const std::shared_ptr<const URLSessionConfiguration>& configuration) const {
    return configuration == configuration_ || *configuration == *configuration_;
  }
  // The configured time-out; one that is not positive counts as the default.
  std::chrono::milliseconds timeout() const { return timeout_; }

  // Sets them on a fresh or reset handle. These options must outlive the handle's use of them.
  void applyTo(void* easy) const;

 private:
  std::shared_ptr<const URLSessionConfiguration> configuration_;
  std::chrono::milliseconds timeout_;
  CurlList connectTo_;
};

}  // namespace orx::platform
