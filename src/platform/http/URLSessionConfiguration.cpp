#include "platform/http/URLSessionConfiguration.h"

#include <utility>

#include "platform/process/ForkSafety.h"

namespace orx {

using namespace platform;

namespace {

using SharedConfiguration = std::shared_ptr<const URLSessionConfiguration>;

Guarded<SharedConfiguration>& inForce() {
  static constinit ProcessWide<Guarded<SharedConfiguration>> configuration;
  return configuration.get(
      [] { return Guarded<SharedConfiguration>(std::make_shared<URLSessionConfiguration>()); });
}

}  // namespace

std::shared_ptr<const URLSessionConfiguration> platform::sharedDefaultConfiguration() {
  return inForce().get();
}

URLSessionConfiguration URLSessionConfiguration::defaultConfiguration() {
  return *sharedDefaultConfiguration();
}

void URLSessionConfiguration::setDefaultConfiguration(URLSessionConfiguration configuration) {
  inForce().set(std::make_shared<const URLSessionConfiguration>(std::move(configuration)));
}

}  // namespace orx
