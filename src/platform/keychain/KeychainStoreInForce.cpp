// SPDX-License-Identifier: MIT
#include "platform/keychain/KeychainStoreInForce.h"

#include "platform/process/ForkSafety.h"

namespace orx::platform {

namespace {

std::shared_ptr<KeychainStore>& storeInForce() {
  static constinit ProcessWide<std::shared_ptr<KeychainStore>> store;
  return store.get(keychainStoreOfHost);
}

}  // namespace

std::shared_ptr<KeychainStore> keychainStoreInForce() {
  const auto& store = storeInForce();
  const BriefSection section;
  return store;
}

void setKeychainStoreInForce(std::shared_ptr<KeychainStore> store) {
  auto& inForce = storeInForce();
  const BriefSection section;
  inForce.swap(store);
}

}  // namespace orx::platform
