#include <ORXAccount/platform/URLSessionConfiguration.h>

#include <atomic>
#include <mutex>
#include <utility>

#include "platform/ForkSafeMutex.h"
#include "platform/ForkSafety.h"

namespace orx {
namespace {

// Never destroyed: calls may be made while the process ends.
struct Default {
  ForkSafeMutex mutex{ForkSafeMutex::Section::Brief};
  URLSessionConfiguration configuration;
};

Default& inForce() {
  static constinit std::atomic<Default*> slot = nullptr;
  return processWide(slot, [] { return new Default; });
}

}  // namespace

URLSessionConfiguration URLSessionConfiguration::defaultConfiguration() {
  const std::lock_guard lock(inForce().mutex);
  return inForce().configuration;
}

void URLSessionConfiguration::setDefaultConfiguration(URLSessionConfiguration configuration) {
  const std::lock_guard lock(inForce().mutex);
  std::swap(inForce().configuration, configuration);
}

}  // namespace orx
