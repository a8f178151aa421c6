// SPDX-License-Identifier: MIT
// Says which class serves which interface: the one file to edit for another backend. No other file
// includes the headers of a backend's folder.
//
// The transport has no line here: `http/Transport.h` declares the function that starts a transfer,
// and whatever is linked from `http/curl/` defines it.

#include <ORXAccount/platform/Keychain.h>

#include "platform/keychain/KeychainStoreInForce.h"
#include "platform/keychain/PolicyKeychainStore.h"
#include "platform/keychain/PromptRules.h"
#include "platform/keychain/secretservice/SecretServiceStore.h"

namespace orx::platform {

std::shared_ptr<KeychainStore> keychainStoreOfHost() {
  // The stores besides the user's files, the preferred one first.
  PolicyKeychainStore::Stores stores{
      std::make_shared<SecretServiceStore>(promptRulesOfHost()),
  };
  return std::make_shared<PolicyKeychainStore>(std::move(stores), keychainPolicy);
}

}  // namespace orx::platform
