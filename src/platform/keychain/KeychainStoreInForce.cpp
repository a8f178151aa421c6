#include "platform/keychain/KeychainStoreInForce.h"

#include <mutex>

#include "platform/process/ForkSafeMutex.h"
#include "platform/process/ForkSafety.h"

namespace orx::platform {

namespace {

struct StoreInForce {
  ForkSafeMutex mutex{ForkSafeMutex::Section::Brief};
  std::shared_ptr<KeychainStore> store = keychainStoreOfHost();
};

StoreInForce& storeInForce() {
  static constinit ProcessWide<StoreInForce> instance;
  return instance.get();
}

}  // namespace

std::shared_ptr<KeychainStore> keychainStoreInForce() {
  const std::lock_guard guard(storeInForce().mutex);
  return storeInForce().store;
}

void setKeychainStoreInForce(std::shared_ptr<KeychainStore> store) {
  const std::lock_guard guard(storeInForce().mutex);
  storeInForce().store.swap(store);
}

}  // namespace orx::platform
