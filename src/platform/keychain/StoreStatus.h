#pragma once

#include <ORXAccount/platform/Keychain.h>

#include "platform/base/Result.h"

// What keychainStatus() tells a host: notes of what the last calls on the keychain and on the user
// defaults came to. Safe to use from any thread.
namespace orx::platform {

// Called for each SecItem call, with null when it worked. An item that is missing or exists already
// is no problem.
void noteKeychainError(std::shared_ptr<Error> error);
// The store that holds the item, as far as that call has found out; empty when none does.
void noteKeychainStore(std::string name);
// Called after the defaults were read or written for the stored user, with null when it worked.
void noteDefaultsError(std::shared_ptr<Error> error);

// The error of a result, null of a success.
template <typename T>
std::shared_ptr<Error> errorOf(const Result<T>& result) {
  return result ? nullptr : result.error();
}

}  // namespace orx::platform
