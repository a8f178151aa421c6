#pragma once

#include <ORXAccount/ORVAAccountUser.h>

#include <memory>
#include <optional>

namespace orx {

// What a record knows about its picture; read and changed in brief sections.
struct ORVAAccountUser::ImageState {
  std::optional<Data> data;
  std::shared_ptr<URLSessionDataTask> task;
  std::shared_ptr<OperationQueue> queue;
  std::shared_ptr<DispatchSemaphore> semaphore;
};

}  // namespace orx
