// SPDX-License-Identifier: MIT
#include "platform/keychain/SecItemFunctions.h"

#include <atomic>

#include "platform/base/Limits.h"
#include "platform/keychain/KeychainStoreInForce.h"
#include "platform/keychain/StoreStatus.h"

namespace orx::platform {

namespace {

std::atomic<std::chrono::milliseconds> storePatience{limits::storeWait};

std::optional<KeychainItem> itemOf(const Dictionary& query) {
  const auto* itemClass = query[kSecClass].string();
  const auto* service = query[kSecAttrService].string();
  const auto* account = query[kSecAttrAccount].string();
  if (itemClass == nullptr || *itemClass != kSecClassGenericPassword) return std::nullopt;
  if (service == nullptr || account == nullptr) return std::nullopt;
  return KeychainItem{.service = *service, .account = *account};
}

// Runs one operation on the store in force, within the bound of one call. `isComplete` says whether
// the call names the data that it needs.
template <typename Operation>
OSStatus perform(KeychainCall call, const Dictionary& query, bool isComplete,
                 const Operation& operation) {
  const auto item = itemOf(query);
  if (!item || !isComplete) {
    const auto failure =
        keychainFailure(errSecParam, "The keychain query names no generic password or no data.");
    noteKeychainError(failure.value());
    return errSecParam;
  }
  const auto store = keychainStoreInForce();
  const auto result =
      operation(*store, *item, std::chrono::steady_clock::now() + storePatience.load());
  noteKeychainCall(call, *item, errorOf(result));
  return statusOf(result);
}

}  // namespace

void setKeychainPatience(std::chrono::milliseconds limit) { storePatience = limit; }

OSStatus SecItemAdd(const Dictionary& query) {
  const auto* bytes = query[kSecValueData].data();
  return perform(KeychainCall::Writing, query, bytes != nullptr,
                 [&](auto& store, const auto& item, Deadline deadline) {
                   return store.add(item, *bytes, deadline);
                 });
}

OSStatus SecItemUpdate(const Dictionary& query, const Dictionary& attributesToUpdate) {
  const auto* bytes = attributesToUpdate[kSecValueData].data();
  return perform(KeychainCall::Writing, query, bytes != nullptr,
                 [&](auto& store, const auto& item, Deadline deadline) {
                   return store.update(item, *bytes, deadline);
                 });
}

OSStatus SecItemDelete(const Dictionary& query) {
  return perform(KeychainCall::Removal, query, true,
                 [](auto& store, const auto& item, Deadline deadline) {
                   return store.remove(item, deadline);
                 });
}

OSStatus SecItemCopyMatching(const Dictionary& query, std::optional<Value>& result) {
  result.reset();
  return perform(KeychainCall::Reading, query, true,
                 [&](auto& store, const auto& item, Deadline deadline) {
                   auto bytes = store.copy(item, deadline);
                   if (bytes && query[kSecReturnData].boolean() == true) result = *bytes;
                   return bytes;
                 });
}

}  // namespace orx::platform
