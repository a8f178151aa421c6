// SPDX-License-Identifier: MIT
#pragma once

#include <ORXAccount/ORVAAccountUser.h>

#include <memory>
#include <optional>

#include "platform/process/ForkSafety.h"

namespace orx {

struct ORVAAccountUser::State {
  const std::optional<Dictionary> userInfo;
  // Of its picture.
  platform::Guarded<std::optional<Data>> imageData{};
  platform::Guarded<std::shared_ptr<URLSessionDataTask>> imageTask{};
  platform::Guarded<std::shared_ptr<OperationQueue>> imageQueue{};
  platform::Guarded<std::shared_ptr<DispatchSemaphore>> imageSemaphore{};
};

}  // namespace orx
