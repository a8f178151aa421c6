#pragma once

#include <ORXAccount/platform/Error.h>
#include <ORXAccount/platform/Keychain.h>

#include "platform/keychain/KeychainStore.h"

namespace orx::platform {

// Called after each SecItem call; an item that is missing or exists already is no problem.
void noteKeychainOutcome(const KeychainOutcome& outcome);
// Called after the defaults were read or written for the stored user; null means they worked.
void noteDefaultsOutcome(const std::shared_ptr<Error>& error);

}  // namespace orx::platform
