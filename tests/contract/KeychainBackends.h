// SPDX-License-Identifier: MIT
#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <ostream>
#include <string>
#include <vector>

#include "platform/keychain/KeychainStoreInForce.h"
#include "platform/keychain/SecItemFunctions.h"
#include "support/StorageHome.h"

namespace orx::testing {

using namespace platform;

// A store that the contract tests run over. `make` is called while a StorageHome exists. The first
// store that it makes there is empty; a second one shares the first one's items.
struct KeychainBackend {
  std::string name;
  std::function<std::shared_ptr<KeychainStore>()> make;
  // The name of the store in KeychainStatus.
  std::string place;
};

inline std::ostream& operator<<(std::ostream& stream, const KeychainBackend& backend) {
  return stream << backend.name;
}

const std::vector<KeychainBackend>& keychainBackends();

class KeychainContract : public ::testing::TestWithParam<KeychainBackend> {
 protected:
  // The default patience is too short for a busy machine.
  KeychainContract() { setKeychainPatience(std::chrono::seconds(20)); }

  static Deadline deadline() { return std::chrono::steady_clock::now() + std::chrono::seconds(20); }

  StorageHome home;
  std::shared_ptr<KeychainStore> store = GetParam().make();
};

}  // namespace orx::testing
