#pragma once

#include <ORXAccount/ORVAAccountUser.h>

#include <memory>
#include <optional>

#include "platform/process/ForkSafety.h"

namespace orx {

// What a record knows about its picture.
struct ORVAAccountUser::ImageState {
  platform::Guarded<std::optional<Data>> data;
  platform::Guarded<std::shared_ptr<URLSessionDataTask>> task;
  platform::Guarded<std::shared_ptr<OperationQueue>> queue;
  platform::Guarded<std::shared_ptr<DispatchSemaphore>> semaphore;
};

}  // namespace orx
