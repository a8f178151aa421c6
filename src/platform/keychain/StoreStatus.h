// SPDX-License-Identifier: MIT
#pragma once

#include <ORXAccount/platform/Keychain.h>

#include "platform/keychain/KeychainStore.h"

// What keychainStatus() tells a host: notes of what the last calls on the keychain and on the user
// defaults came to. Safe to use from any thread.
namespace orx::platform {

// An error of the keychain, or null when it worked. An item that is missing or exists already is no
// problem.
void noteKeychainError(std::shared_ptr<Error> error);
// The same for a call on an item. Why a removal failed is told until that item is gone or replaced,
// whatever calls on others come to: what should be gone is still there.
enum class KeychainCall { Reading, Writing, Removal };
void noteKeychainCall(KeychainCall call, const KeychainItem& item, std::shared_ptr<Error> error);
// The store that holds the item, as far as that call has found out; empty when none does.
void noteKeychainStore(std::string name);
// Called after the defaults were read or written for the stored user, with null when it worked.
void noteDefaultsError(std::shared_ptr<Error> error);

// Tells the host's log handler of the error that keychainStatus() tells at this moment. Where there
// is none, and a user has been stored, tells it of a file that stands in for the keyring. Not with
// a lock held.
void logStore(bool hasStored) noexcept;

// The error of a result, null of a success.
template <typename T>
std::shared_ptr<Error> errorOf(const Result<T>& result) {
  return result ? nullptr : result.error();
}

}  // namespace orx::platform
