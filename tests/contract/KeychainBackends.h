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

// One store that the contract holds for. `make` is called with the storage home set up, and gives a
// store without items; a second one made in the same home sees the items of the first.
struct KeychainBackend {
  std::string name;
  std::function<std::shared_ptr<KeychainStore>()> make;
  // What the status calls the place of its items.
  std::string place;
};

inline std::ostream& operator<<(std::ostream& stream, const KeychainBackend& backend) {
  return stream << backend.name;
}

const std::vector<KeychainBackend>& keychainBackends();

class KeychainContract : public ::testing::TestWithParam<KeychainBackend> {
 protected:
  // What is tested here is not how long it takes on a busy machine.
  KeychainContract() { setKeychainPatience(std::chrono::seconds(20)); }

  static Deadline deadline() { return std::chrono::steady_clock::now() + std::chrono::seconds(20); }

  StorageHome home;
  std::shared_ptr<KeychainStore> store = GetParam().make();
};

}  // namespace orx::testing
