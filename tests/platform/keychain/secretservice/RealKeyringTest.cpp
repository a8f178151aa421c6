// SPDX-License-Identifier: MIT
// The user moves from a desktop session to one without a keyring and back, with gnome-keyring as
// the service.

#include <gtest/gtest.h>

#include <cstdlib>

#include "platform/keychain/ItemFile.h"
#include "platform/keychain/KeychainStoreInForce.h"
#include "platform/keychain/secretservice/SecretServiceStore.h"
#include "support/PrivateBus.h"
#include "support/StorageHome.h"

namespace orx {

using namespace platform;
namespace {

class RealKeyring : public ::testing::Test {
 protected:
  static Deadline deadline() { return std::chrono::steady_clock::now() + std::chrono::seconds(20); }

  void headless() { unsetenv("DBUS_SESSION_BUS_ADDRESS"); }
  void desktop() { setenv("DBUS_SESSION_BUS_ADDRESS", address.c_str(), 1); }

  OSStatus signIn(std::string_view user) {
    return statusOf(store->put(item, Data(user), deadline()));
  }
  OSStatus signOut() { return statusOf(store->remove(item, deadline())); }
  std::string in(KeychainStore& place) {
    const auto bytes = place.copy(item, deadline());
    return bytes ? std::string(bytes->text()) : std::to_string(statusOf(bytes));
  }

  const testing::StorageHome home;
  const testing::PrivateBus bus{home.path()};
  const testing::GnomeKeyring keyring{home.path()};
  const std::string address = getenv("DBUS_SESSION_BUS_ADDRESS");
  const KeychainItem item{.service = "com.example.service", .account = "someone"};
  const std::shared_ptr<KeychainStore> store = keychainStoreOfHost();
  SecretServiceStore inKeyring{
      {.mayPrompt = [] { return PromptRules::Answer::Forbidden; }, .noteDismissed = [] {}}};
  const std::string nobody = std::to_string(errSecItemNotFound);
};

TEST_F(RealKeyring, GivesTheUserToTheFileAndTakesTheNewestBack) {
  ASSERT_EQ(signIn("A"), errSecSuccess);
  EXPECT_EQ(in(inKeyring), "A");

  headless();
  EXPECT_EQ(in(*store), std::to_string(errSecNotAvailable));
  EXPECT_EQ(signIn("B"), errSecSuccess);
  EXPECT_EQ(in(*store), "B");

  desktop();
  EXPECT_EQ(in(inKeyring), "A");
  EXPECT_EQ(in(*store), "B");
  EXPECT_EQ(in(inKeyring), nobody);
  EXPECT_EQ(signIn("B"), errSecSuccess);
  EXPECT_EQ(in(inKeyring), "B");
  ItemFile file(item);
  ASSERT_TRUE(file.look());
  EXPECT_EQ(file.state().newest, "secret-service");
}

TEST_F(RealKeyring, DoesNotBringBackWhoSignedOutWhileItWasAway) {
  ASSERT_EQ(signIn("A"), errSecSuccess);
  headless();
  ASSERT_EQ(signOut(), errSecSuccess);
  ASSERT_EQ(signIn("B"), errSecSuccess);
  ASSERT_EQ(signOut(), errSecSuccess);
  desktop();
  EXPECT_EQ(in(inKeyring), "A");
  EXPECT_EQ(in(*store), nobody);
  EXPECT_EQ(in(inKeyring), nobody);
}

}  // namespace
}  // namespace orx
