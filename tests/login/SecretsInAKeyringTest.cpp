// SPDX-License-Identifier: MIT
// What lies in the process's memory once somebody has signed in and out whose record went to a
// keyring.
#include <ORXAccount/ORVAAccountUser.h>
#include <ORXAccount/ORVAAccountUserCache.h>

#include "login/SecretsFixture.h"
#include "support/PrivateBus.h"

namespace orx::testing {
namespace {

using namespace std::chrono_literals;

class SecretsInAKeyring : public SecretsInMemory {
 protected:
  SecretsInAKeyring() : SecretsInMemory(KeychainPolicy::SecretServiceOnly) {}

  // What GLib has copied into the messages of the session bus, and frees as it is.
  static constexpr std::size_t ofGLib = 1;

  // Stored, stored again, read, and removed.
  void signInAndOut() {
    for (const auto* name : {"joe", "in-chunks"}) ASSERT_EQ(signIn(name), 0);
    EXPECT_TRUE(keychainStatus().encryptedAtRest());
    ORVAAccountUser::setCurrentUser(ORVAAccountUserCache::sharedInstance()->cachedUser());
    signOut();
  }
  // What was freed stays for as long as nobody else gets the memory, so one of several trials
  // counts.
  void expectNoMoreThanOfGLib() {
    bool isReached = false;
    for (int trial = 0; trial < 5 && !isReached; ++trial) {
      signInAndOut();
      expectCopies(password, 0, "password");
      expectCopies(appKey, 1, "application key");
      isReached = eventually([] { return ticket.copies() <= ofGLib; }, 2s);
    }
    EXPECT_TRUE(isReached) << ticket.copies() << " copies of the ticket";
  }

  const PrivateBus bus_{home_.path()};
};

TEST_F(SecretsInAKeyring, AreGoneButForWhatGLibHasCopied) {
  ScriptedService service(home_.path());
  service.setItems("");
  service.setScript("");
  service.start();
  expectNoMoreThanOfGLib();
  EXPECT_GT(service.calls("CreateItem"), 0);
  EXPECT_GT(service.calls("SetSecret"), 0);
}

TEST_F(SecretsInAKeyring, AreGoneButForWhatGLibHasCopiedForARealOne) {
  const GnomeKeyring keyring(home_.path());
  expectNoMoreThanOfGLib();
}

}  // namespace
}  // namespace orx::testing
