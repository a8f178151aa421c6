#include <utility>

#include "platform/http/DefaultConfiguration.h"
#include "platform/process/ForkSafety.h"

namespace orx {

using namespace platform;
namespace {

using SharedConfiguration = std::shared_ptr<const URLSessionConfiguration>;

SharedConfiguration& inForce() {
  static constinit ProcessWide<SharedConfiguration> configuration;
  return configuration.get([] { return std::make_shared<const URLSessionConfiguration>(); });
}

}  // namespace

std::shared_ptr<const URLSessionConfiguration> platform::sharedDefaultConfiguration() {
  const auto& configuration = inForce();
  const BriefSection section;
  return configuration;
}

URLSessionConfiguration URLSessionConfiguration::defaultConfiguration() {
  return *sharedDefaultConfiguration();
}

void URLSessionConfiguration::setDefaultConfiguration(URLSessionConfiguration configuration) {
  auto next = std::make_shared<const URLSessionConfiguration>(std::move(configuration));
  auto& present = inForce();
  const BriefSection section;
  present.swap(next);
}

}  // namespace orx
