// SPDX-License-Identifier: MIT
#pragma once

#include <ORXAccount/ORVAAccountAPI.h>

#include <memory>
#include <utility>

namespace orx {

// A completion handler that runs on a background thread of the library though an executor is set
// (CallbackExecutor.h): one that only passes the outcome on, as to a promise for which the thread
// of the loop itself may be waiting. Passed as it is to any operation of ORVAAccountAPI.
class ORX_EXPORT WorkerHandler {
 public:
  explicit WorkerHandler(ORVAAccountAPICompletionHandler handler) : handler_(std::move(handler)) {}

  void operator()(const std::shared_ptr<ORVAAccountAPIResult>& result,
                  const std::shared_ptr<Error>& error) const {
    handler_(result, error);
  }

 private:
  ORVAAccountAPICompletionHandler handler_;
};

}  // namespace orx
