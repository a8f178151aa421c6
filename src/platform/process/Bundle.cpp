#include <ORXAccount/platform/Bundle.h>

#include <utility>

#include "platform/process/ForkSafety.h"

namespace orx {

using namespace platform;

const std::shared_ptr<Bundle>& Bundle::mainBundle() {
  static constinit ProcessWide<std::shared_ptr<Bundle>> bundle;
  return bundle.get([] { return std::shared_ptr<Bundle>(new Bundle); });
}

std::optional<std::string> Bundle::bundleIdentifier() const {
  const BriefSection section;
  return identifier_;
}

void Bundle::setBundleIdentifier(std::optional<std::string> bundleIdentifier) {
  const BriefSection section;
  // The old text is freed by the caller, after the section.
  identifier_.swap(bundleIdentifier);
}

}  // namespace orx
