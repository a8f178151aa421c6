// SPDX-License-Identifier: MIT
#include <ORXAccount/platform/Bundle.h>

#include <utility>

#include "platform/process/ForkSafety.h"

namespace orx {

using namespace platform;

struct Bundle::State {
  Guarded<std::optional<std::string>> identifier;
};

Bundle::Bundle() : state_(std::make_unique<State>()) {}

Bundle::~Bundle() = default;

const std::shared_ptr<Bundle>& Bundle::mainBundle() {
  static constinit ProcessWide<std::shared_ptr<Bundle>> bundle;
  return bundle.get([] { return std::shared_ptr<Bundle>(new Bundle); });
}

std::optional<std::string> Bundle::bundleIdentifier() const { return state_->identifier.get(); }

void Bundle::setBundleIdentifier(std::optional<std::string> bundleIdentifier) {
  state_->identifier.set(std::move(bundleIdentifier));
}

}  // namespace orx
