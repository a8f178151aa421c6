#include <ORXAccount/platform/Bundle.h>

#include <utility>

#include "platform/process/ForkSafety.h"

namespace orx {

using namespace platform;

struct Bundle::State {
  std::optional<std::string> identifier;
};

Bundle::Bundle() : state_(std::make_unique<State>()) {}
Bundle::~Bundle() = default;

const std::shared_ptr<Bundle>& Bundle::mainBundle() {
  static constinit ProcessWide<std::shared_ptr<Bundle>> bundle;
  return bundle.get([] { return std::shared_ptr<Bundle>(new Bundle); });
}

std::optional<std::string> Bundle::bundleIdentifier() const {
  const BriefSection section;
  return state_->identifier;
}

void Bundle::setBundleIdentifier(std::optional<std::string> bundleIdentifier) {
  const BriefSection section;
  state_->identifier.swap(bundleIdentifier);
}

}  // namespace orx
