#include <ORXAccount/platform/URLSessionConfiguration.h>

#include <mutex>
#include <utility>

#include "platform/ForkSafeMutex.h"

namespace orx {
namespace {

// Never destroyed: calls may be made while the process ends.
struct Default {
  ForkSafeMutex mutex{ForkSafeMutex::Section::Brief};
  URLSessionConfiguration configuration;
};

Default& inForce() {
  static Default& shared = *new Default;
  return shared;
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
