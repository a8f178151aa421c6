#include <ORXAccount/platform/Bundle.h>

#include <mutex>
#include <utility>

#include "platform/process/ForkSafeMutex.h"
#include "platform/process/ForkSafety.h"

namespace orx {

using namespace platform;

struct Bundle::State {
  ForkSafeMutex mutex{ForkSafeMutex::Section::Brief};
  std::optional<std::string> identifier;
};

Bundle::Bundle() : state_(std::make_unique<State>()) {}
Bundle::~Bundle() = default;

const std::shared_ptr<Bundle>& Bundle::mainBundle() {
  static constinit ProcessWide<std::shared_ptr<Bundle>> bundle;
  return bundle.get([] { return std::shared_ptr<Bundle>(new Bundle); });
}

std::optional<std::string> Bundle::bundleIdentifier() const {
  const std::lock_guard guard(state_->mutex);
  return state_->identifier;
}

void Bundle::setBundleIdentifier(std::optional<std::string> bundleIdentifier) {
  const std::lock_guard guard(state_->mutex);
  state_->identifier.swap(bundleIdentifier);
}

}  // namespace orx
