#pragma once

#include <ORXAccount/platform/URLSessionConfiguration.h>

#include <memory>

namespace orx::platform {

// The default configuration in force, without a copy of it. From any thread.
std::shared_ptr<const URLSessionConfiguration> sharedDefaultConfiguration();

}  // namespace orx::platform
