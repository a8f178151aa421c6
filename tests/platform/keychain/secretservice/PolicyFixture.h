// SPDX-License-Identifier: MIT
#pragma once

#include <cstdlib>
#include <string>

#include "platform/keychain/PolicyKeychainStore.h"
#include "platform/keychain/secretservice/ServiceFixture.h"

namespace orx::testing {

using namespace platform;

// The keyring and the file store as one store, over an empty keyring.
class Policy : public ServiceFixture {
 protected:
  Policy() : address(getenv("DBUS_SESSION_BUS_ADDRESS")) {
    const PromptRules rules{.mayPrompt = [this] { return prompts; }, .noteDismissed = [] {}};
    store = std::make_shared<PolicyKeychainStore>(
        PolicyKeychainStore::Stores{std::make_shared<SecretServiceStore>(rules)},
        [this] { return policy; });
    startEmpty("");
  }

  static Deadline deadline() { return std::chrono::steady_clock::now() + std::chrono::seconds(20); }

  void headless() { unsetenv("DBUS_SESSION_BUS_ADDRESS"); }
  void desktop() { setenv("DBUS_SESSION_BUS_ADDRESS", address.c_str(), 1); }

  // As a sign-in writes.
  OSStatus signIn(std::string_view user) {
    const auto updated = statusOf(store->update(item, Data(user), deadline()));
    if (updated != errSecItemNotFound) return updated;
    return statusOf(store->add(item, Data(user), deadline()));
  }
  OSStatus signOut() { return statusOf(store->remove(item, deadline())); }
  // The user, or the status in its place.
  std::string user() {
    const auto bytes = store->copy(item, deadline());
    return bytes ? std::string(bytes->text()) : std::to_string(statusOf(bytes));
  }
  std::string inFile() {
    ItemFile file(item);
    EXPECT_TRUE(file.look());
    const auto& bytes = file.state().bytes;
    return bytes ? std::string(bytes->text()) : "-";
  }
  std::string inKeyring() {
    const auto ending = read();
    return ending.status == errSecSuccess ? ending.bytes : "-";
  }
  // Whether anything is left that says where the item is.
  bool hasNote() { return std::filesystem::exists(itemFile); }

  const std::string address;
  KeychainPolicy policy = KeychainPolicy::PreferSecretService;
  std::shared_ptr<PolicyKeychainStore> store;
  const std::filesystem::path itemFile = home.keychainDirectory() / ItemFile::nameOf(item);
  const std::string nobody = std::to_string(errSecItemNotFound);
  const std::string unavailable = std::to_string(errSecNotAvailable);
};

}  // namespace orx::testing
