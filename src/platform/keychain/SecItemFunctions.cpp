#include "platform/keychain/SecItemFunctions.h"

#include <atomic>

#include "platform/base/Limits.h"
#include "platform/keychain/KeychainStoreInForce.h"
#include "platform/keychain/StoreStatus.h"

namespace orx::platform {

namespace {

std::atomic<std::chrono::milliseconds> patience{limits::storeWait};

std::optional<KeychainItem> itemOf(const Dictionary& query) {
  const auto* itemClass = query[kSecClass].string();
  const auto* service = query[kSecAttrService].string();
  const auto* account = query[kSecAttrAccount].string();
  if (itemClass == nullptr || *itemClass != kSecClassGenericPassword) return std::nullopt;
  if (service == nullptr || account == nullptr) return std::nullopt;
  return KeychainItem{.service = *service, .account = *account};
}

OSStatus unusableQuery() {
  const auto failure =
      keychainFailure(errSecParam, "The keychain query names no generic password or no data.");
  noteKeychainError(failure.value());
  return errSecParam;
}

// Runs one operation on the store in force, within the bound of one call.
template <typename Operation>
auto perform(const Operation& operation) {
  const auto store = keychainStoreInForce();
  auto result = operation(*store, std::chrono::steady_clock::now() + patience.load());
  noteKeychainError(errorOf(result));
  return result;
}

}  // namespace

void setKeychainPatience(std::chrono::milliseconds limit) { patience = limit; }

OSStatus SecItemAdd(const Dictionary& query) {
  const auto item = itemOf(query);
  const auto* bytes = query[kSecValueData].data();
  if (!item || bytes == nullptr) return unusableQuery();
  return statusOf(perform(
      [&](KeychainStore& store, Deadline deadline) { return store.add(*item, *bytes, deadline); }));
}

OSStatus SecItemUpdate(const Dictionary& query, const Dictionary& attributesToUpdate) {
  const auto item = itemOf(query);
  const auto* bytes = attributesToUpdate[kSecValueData].data();
  if (!item || bytes == nullptr) return unusableQuery();
  return statusOf(perform([&](KeychainStore& store, Deadline deadline) {
    return store.update(*item, *bytes, deadline);
  }));
}

OSStatus SecItemDelete(const Dictionary& query) {
  const auto item = itemOf(query);
  if (!item) return unusableQuery();
  return statusOf(perform(
      [&](KeychainStore& store, Deadline deadline) { return store.remove(*item, deadline); }));
}

OSStatus SecItemCopyMatching(const Dictionary& query, std::optional<Value>& result) {
  result.reset();
  const auto item = itemOf(query);
  if (!item) return unusableQuery();
  const auto bytes =
      perform([&](KeychainStore& store, Deadline deadline) { return store.copy(*item, deadline); });
  if (bytes && query[kSecReturnData].boolean() == true) result = *bytes;
  return statusOf(bytes);
}

}  // namespace orx::platform
