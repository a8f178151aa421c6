// SPDX-License-Identifier: MIT
#pragma once

#include <memory>

#include "platform/keychain/KeychainStore.h"

namespace orx::platform {

// The store that the SecItem functions use: keychainStoreOfHost(), until another is set. A call
// that is running goes on with the store it started with. Safe to use from any thread.
std::shared_ptr<KeychainStore> keychainStoreInForce();
// For tests that stand between the functions and a store.
void setKeychainStoreInForce(std::shared_ptr<KeychainStore> store);

// The user's files and every other store of this build, under the policy that the host sets. Each
// call makes a new one; all of them share their items.
std::shared_ptr<KeychainStore> keychainStoreOfHost();

}  // namespace orx::platform
