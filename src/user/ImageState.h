#pragma once

#include <ORXAccount/ORVAAccountUser.h>

#include <memory>
#include <optional>

#include "platform/process/ForkSafeMutex.h"

namespace orx {

// What a record knows about its picture.
struct ORVAAccountUser::ImageState {
  // Guards the fields, of every record: a mutex in each could not be kept whole across a fork.
  static platform::ForkSafeMutex& mutex();

  std::optional<Data> data;
  std::shared_ptr<URLSessionDataTask> task;
  std::shared_ptr<OperationQueue> queue;
  std::shared_ptr<DispatchSemaphore> semaphore;
};

}  // namespace orx
