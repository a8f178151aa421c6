#include "platform/keychain/StoreStatus.h"

#include <mutex>

#include "platform/keychain/KeychainStoreInForce.h"
#include "platform/process/ForkSafeMutex.h"
#include "platform/process/ForkSafety.h"
#include "platform/storage/UserDefaults.h"

namespace orx {

using namespace platform;

namespace {

struct Notes {
  ForkSafeMutex mutex{ForkSafeMutex::Section::Brief};
  std::string store;
  std::shared_ptr<Error> keychainError;
  std::shared_ptr<Error> defaultsError;
};

Notes& notes() {
  static constinit ProcessWide<Notes> instance;
  return instance.get();
}

template <typename T>
void exchange(T& note, T value) {
  const std::lock_guard guard(notes().mutex);
  std::swap(note, value);
}

}  // namespace

KeychainStatus keychainStatus() {
  KeychainStatus status;
  status.store = keychainStoreInForce()->name();
  const std::lock_guard guard(notes().mutex);
  if (!notes().store.empty()) status.store = notes().store;
  const bool ofKeychain = notes().keychainError != nullptr;
  const auto& error = ofKeychain ? notes().keychainError : notes().defaultsError;
  if (!error) return status;
  // To a host, defaults are damaged or they cannot be read or written; that a file is not trusted
  // is told apart for the keychain alone.
  if (ofKeychain) status.lastError = statusOf(*error);
  if (!ofKeychain) status.lastError = UserDefaults::isDamage(*error) ? errSecDecode : errSecIO;
  status.locked =
      status.lastError == errSecInteractionNotAllowed || status.lastError == errSecAuthFailed;
  const auto detail = [&](std::string_view key) {
    return error->userInfo()[key].text().value_or(std::string());
  };
  status.description = detail(NSLocalizedDescriptionKey);
  status.path = detail(NSFilePathErrorKey);
  status.remedy = detail(NSLocalizedRecoverySuggestionErrorKey);
  return status;
}

void platform::noteKeychainError(const std::shared_ptr<Error>& error) {
  const auto status = error ? statusOf(*error) : errSecSuccess;
  const bool noProblem = status == errSecItemNotFound || status == errSecDuplicateItem;
  exchange(notes().keychainError, noProblem ? nullptr : error);
}

void platform::noteKeychainStore(std::string_view name) {
  exchange(notes().store, std::string(name));
}

void platform::noteDefaultsError(const std::shared_ptr<Error>& error) {
  exchange(notes().defaultsError, error);
}

}  // namespace orx
