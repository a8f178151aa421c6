// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include "platform/keychain/StoreStatus.h"

namespace orx::platform {
namespace {

TEST(StoreStatus, CallsAKeyringLockedThatSomebodyHasToUnlock) {
  noteKeychainError(keychainFailure(errSecInteractionNotAllowed, "The keyring is locked.").value());
  EXPECT_TRUE(keychainStatus().locked());
}

// Nobody could unlock it, however often the host asked for that.
TEST(StoreStatus, DoesNotCallAKeyringLockedThatAsksBeforeEachChange) {
  noteKeychainError(keychainFailure(errSecInteractionRequired, "The keyring asks.").value());
  EXPECT_EQ(keychainStatus().lastError(), errSecInteractionNotAllowed);
  EXPECT_EQ(keychainStatus().description(), "The keyring asks.");
  EXPECT_FALSE(keychainStatus().locked());
}

}  // namespace
}  // namespace orx::platform
