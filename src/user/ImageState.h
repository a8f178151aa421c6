#pragma once

#include <ORXAccount/ORVAAccountUser.h>

#include <memory>
#include <mutex>
#include <optional>

namespace orx {

// What a record knows about its picture. `mutex` guards the other fields.
struct ORVAAccountUser::ImageState {
  std::mutex mutex;
  std::optional<Data> data;
  std::shared_ptr<URLSessionDataTask> task;
  std::shared_ptr<OperationQueue> queue;
  std::shared_ptr<DispatchSemaphore> semaphore;
};

}  // namespace orx
