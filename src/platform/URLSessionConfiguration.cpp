#include <ORXAccount/platform/URLSessionConfiguration.h>

#include <mutex>
#include <utility>

#include "platform/ForkSafety.h"

namespace orx {
namespace {

// Never destroyed: calls may be made while the process ends.
struct Default {
  std::mutex mutex;
  URLSessionConfiguration configuration;

  Default() { holdAcrossFork(ForkRank::configuration, mutex); }
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
