#include "platform/http/URLSessionConfiguration.h"

#include <mutex>
#include <utility>

#include "platform/process/ForkSafeMutex.h"
#include "platform/process/ForkSafety.h"

namespace orx {

using namespace platform;
namespace {

struct Default {
  ForkSafeMutex mutex{ForkSafeMutex::Section::Brief};
  std::shared_ptr<const URLSessionConfiguration> configuration =
      std::make_shared<const URLSessionConfiguration>();
};

Default& inForce() {
  static constinit ProcessWide<Default> instance;
  return instance.get();
}

}  // namespace

std::shared_ptr<const URLSessionConfiguration> platform::sharedDefaultConfiguration() {
  const std::lock_guard lock(inForce().mutex);
  return inForce().configuration;
}

URLSessionConfiguration URLSessionConfiguration::defaultConfiguration() {
  return *sharedDefaultConfiguration();
}

void URLSessionConfiguration::setDefaultConfiguration(URLSessionConfiguration configuration) {
  auto next = std::make_shared<const URLSessionConfiguration>(std::move(configuration));
  const std::lock_guard lock(inForce().mutex);
  std::swap(inForce().configuration, next);
}

}  // namespace orx
