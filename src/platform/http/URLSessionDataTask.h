// SPDX-License-Identifier: MIT
#pragma once

#include <ORXAccount/platform/Object.h>
#include <ORXAccount/platform/URL.h>

#include <atomic>
#include <memory>
#include <optional>

#include "platform/http/Transport.h"

namespace orx {

// A transfer that is made now and started later. Dropping a started task ends nothing: the transfer
// goes on and reports.
class URLSessionDataTask final : public Object {
 public:
  // A GET with the default configuration of this moment. An absent URL makes a task that reports
  // NSURLErrorBadURL without any request. A task that is never started reports nothing.
  static std::shared_ptr<URLSessionDataTask> dataTaskWithURL_completionHandler(
      const std::optional<URL>& url, platform::TransferHandler completionHandler);

  // Starts the transfer and returns at once; a second call does nothing. From any thread.
  void resume();

 private:
  URLSessionDataTask(const std::optional<URL>& url, platform::TransferHandler completionHandler);

  const std::optional<URL> url_;
  const URLSessionConfiguration configuration_;
  platform::TransferHandler completionHandler_;
  std::atomic<bool> isStarted_{false};
};

}  // namespace orx
