#include "platform/keychain/SecItemFunctions.h"

#include <atomic>
#include <utility>

#include "platform/base/Limits.h"
#include "platform/keychain/KeychainStatus.h"
#include "platform/keychain/PolicyKeychainStore.h"
#include "platform/process/ForkSafety.h"

namespace orx::platform {

namespace {

// How long one call waits for other processes and for the service.
std::atomic<std::chrono::milliseconds> patience{limits::storeWait};

std::shared_ptr<KeychainStore>& storeInForce() {
  static constinit ProcessWide<std::shared_ptr<KeychainStore>> store;
  return store.get([] { return PolicyKeychainStore::ofHost(); });
}

std::optional<KeychainItem> itemOf(const Dictionary& query) {
  const auto* itemClass = query[kSecClass].string();
  const auto* service = query[kSecAttrService].string();
  const auto* account = query[kSecAttrAccount].string();
  if (itemClass == nullptr || *itemClass != kSecClassGenericPassword) return std::nullopt;
  if (service == nullptr || account == nullptr) return std::nullopt;
  return KeychainItem{.service = *service, .account = *account};
}

OSStatus unusableQuery() {
  noteKeychainOutcome({.status = errSecParam,
                       .text = "The keychain query names no generic password or no data.",
                       .path = {},
                       .remedy = {}});
  return errSecParam;
}

// Runs one operation on the store in force, within the bound of one call.
template <typename Operation>
OSStatus perform(const Operation& operation) {
  const auto store = keychainStoreInForce();
  const KeychainOutcome outcome =
      operation(*store, std::chrono::steady_clock::now() + patience.load());
  noteKeychainOutcome(outcome);
  return outcome.status;
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

void setKeychainPatience(std::chrono::milliseconds limit) { patience = limit; }

OSStatus SecItemAdd(const Dictionary& query) {
  const auto item = itemOf(query);
  const auto* bytes = query[kSecValueData].data();
  if (!item || bytes == nullptr) return unusableQuery();
  return perform(
      [&](KeychainStore& store, Deadline deadline) { return store.add(*item, *bytes, deadline); });
}

OSStatus SecItemUpdate(const Dictionary& query, const Dictionary& attributesToUpdate) {
  const auto item = itemOf(query);
  const auto* bytes = attributesToUpdate[kSecValueData].data();
  if (!item || bytes == nullptr) return unusableQuery();
  return perform([&](KeychainStore& store, Deadline deadline) {
    return store.update(*item, *bytes, deadline);
  });
}

OSStatus SecItemDelete(const Dictionary& query) {
  const auto item = itemOf(query);
  if (!item) return unusableQuery();
  return perform(
      [&](KeychainStore& store, Deadline deadline) { return store.remove(*item, deadline); });
}

OSStatus SecItemCopyMatching(const Dictionary& query, std::optional<Value>& result) {
  result.reset();
  const auto item = itemOf(query);
  if (!item) return unusableQuery();
  std::optional<Data> bytes;
  const auto status = perform(
      [&](KeychainStore& store, Deadline deadline) { return store.copy(*item, deadline, bytes); });
  if (status == errSecSuccess && query[kSecReturnData].boolean() == true) result = bytes;
  return status;
}

}  // namespace orx::platform
