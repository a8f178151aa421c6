// SPDX-License-Identifier: MIT
#include "platform/keychain/StoreStatus.h"

#include <new>
#include <utility>

#include "platform/keychain/ItemFile.h"
#include "platform/keychain/KeychainStoreInForce.h"
#include "platform/process/ForkSafety.h"
#include "platform/process/Log.h"
#include "platform/storage/UserDefaults.h"

namespace orx {

using namespace platform;

namespace {

struct LeftBehind {
  KeychainItem item;
  std::shared_ptr<Error> reason;
};

struct Notes {
  std::string store;
  std::shared_ptr<Error> keychainError;
  // The item that was to be removed last, where it is still there.
  std::optional<LeftBehind> leftBehind;
  std::shared_ptr<Error> defaultsError;
};

Notes& notes() {
  static constinit ProcessWide<Notes> instance;
  return instance.get();
}

// The old value is destroyed by the caller, after the section.
template <typename T>
void exchange(T& note, T& value) {
  const BriefSection section;
  std::swap(note, value);
}

}  // namespace

struct KeychainStatus::Content {
  std::string store;
  bool locked = false;
  OSStatus lastError = errSecSuccess;
  std::string description;
  std::string path;
  std::string remedy;
};

KeychainStatus::KeychainStatus(std::shared_ptr<const Content> content)
    : content_(std::move(content)) {}

const std::string& KeychainStatus::store() const { return content_->store; }

bool KeychainStatus::encryptedAtRest() const { return content_->store != ItemState::here; }

bool KeychainStatus::locked() const { return content_->locked; }

OSStatus KeychainStatus::lastError() const { return content_->lastError; }

const std::string& KeychainStatus::description() const { return content_->description; }

const std::string& KeychainStatus::path() const { return content_->path; }

const std::string& KeychainStatus::remedy() const { return content_->remedy; }

KeychainStatus keychainStatus() {
  const auto content = std::make_shared<KeychainStatus::Content>();
  auto& status = *content;
  status.store = keychainStoreInForce()->name();
  Notes noted;
  {
    const Notes& shared = notes();
    const BriefSection section;
    noted = shared;
  }
  // Before the first call on an item, the store that the policy would use.
  if (!noted.store.empty()) status.store = noted.store;
  // One error can be told; the keychain's comes first.
  if (!noted.keychainError && noted.leftBehind) noted.keychainError = noted.leftBehind->reason;
  const bool ofKeychain = noted.keychainError != nullptr;
  const auto& error = ofKeychain ? noted.keychainError : noted.defaultsError;
  if (!error) return KeychainStatus(content);
  // To a host, defaults are damaged or they cannot be read or written; that a file is not trusted
  // is told apart for the keychain alone.
  if (ofKeychain) status.lastError = statusOf(*error);
  if (!ofKeychain) status.lastError = UserDefaults::isDamage(*error) ? errSecDecode : errSecIO;
  const bool wantsSomebody =
      status.lastError == errSecInteractionNotAllowed || status.lastError == errSecAuthFailed;
  // A keyring that asks before each change is open, and unlocking it would change nothing.
  status.locked = wantsSomebody && !isAskingFirst(*error);
  const auto detail = [&](std::string_view key) {
    return error->userInfo()[key].text().value_or(std::string());
  };
  status.description = detail(NSLocalizedDescriptionKey);
  status.path = detail(NSFilePathErrorKey);
  status.remedy = detail(NSLocalizedRecoverySuggestionErrorKey);
  return KeychainStatus(content);
}

void platform::noteKeychainError(std::shared_ptr<Error> error) {
  const auto status = error ? statusOf(*error) : errSecSuccess;
  if (status == errSecItemNotFound || status == errSecDuplicateItem) error.reset();
  exchange(notes().keychainError, error);
}

void platform::noteKeychainCall(KeychainCall call, const KeychainItem& item,
                                std::shared_ptr<Error> error) {
  const bool isMissing = error && statusOf(*error) == errSecItemNotFound;
  const bool isChanged = !error && call != KeychainCall::Reading;
  auto& shared = notes();
  // Before the section, so that what it held is let go after it.
  std::optional<LeftBehind> left;
  if (error && !isMissing) left = {.item = item, .reason = error};
  if (isMissing || isChanged) {
    const BriefSection section;
    if (shared.leftBehind && shared.leftBehind->item == item) std::swap(shared.leftBehind, left);
  } else if (call == KeychainCall::Removal) {
    exchange(shared.leftBehind, left);
  }
  noteKeychainError(std::move(error));
}

void platform::noteKeychainStore(std::string name) { exchange(notes().store, name); }

void platform::noteDefaultsError(std::shared_ptr<Error> error) {
  exchange(notes().defaultsError, error);
}

void platform::logStore(bool hasStored) noexcept {
  if (!hasLogHandler()) return;
  try {
    const KeychainStatus status = keychainStatus();
    if (status.lastError() != errSecSuccess) {
      std::string line = "The stored user: " + status.description();
      if (!status.path().empty()) line += " (" + status.path() + ")";
      if (!status.remedy().empty()) line += " " + status.remedy();
      tellLogHandler(LogLevel::Error, line);
    } else if (hasStored && status.store() == ItemState::here &&
               keychainPolicy() == KeychainPolicy::PreferSecretService) {
      tellLogHandler(LogLevel::Info,
                     "The user is stored in a file: no keyring takes it without asking.");
    }
  } catch (const std::bad_alloc&) {
    // The line is lost. What it is about has been done, and must not fail for it.
  }
}

}  // namespace orx
