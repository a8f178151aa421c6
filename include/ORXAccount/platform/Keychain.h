// SPDX-License-Identifier: MIT
#pragma once

#include <ORXAccount/platform/Export.h>
#include <ORXAccount/platform/SecItem.h>

#include <memory>
#include <string>

namespace orx {

// Where the signed-in user is kept: in the user's keyring, over the Secret Service of the session
// bus, or in a file that only the user can read. A host sets this at start-up, before it
// initialises ORVAAccount. Everything here is safe to use from any thread.

enum class KeychainPolicy {
  // The keyring or nothing. Where no Secret Service exists, nobody is stored. For a host that
  // demands that no ticket lies on the disk in the clear.
  SecretServiceOnly,
  // The file; the session bus is never spoken to. The ticket lies in it unencrypted: rights alone
  // keep other users from it, and whoever reads the disk or a backup reads it.
  FileOnly,
  // The keyring; the file where no Secret Service exists at all, as on a server, and where an
  // unlocked keyring takes no new user without asking while prompts are not allowed. A service that
  // is locked, silent or broken is an error, and the file does not stand in for it. Whether the
  // ticket is encrypted is known once it is stored: KeychainStatus::encryptedAtRest().
  PreferSecretService,
};

// PreferSecretService until it is set.
ORX_EXPORT KeychainPolicy keychainPolicy();
ORX_EXPORT void setKeychainPolicy(KeychainPolicy policy);

// Whether the Secret Service may show the user a prompt, for instance for the password of a locked
// keyring. A call can then take two minutes instead of two seconds. False until it is set. After a
// user has dismissed a prompt, or left it unanswered, no other is shown until this is set anew.
ORX_EXPORT bool keychainPromptsAllowed();
ORX_EXPORT void setKeychainPromptsAllowed(bool allowed);

// Whether what is stored can be reached, for people who wonder where their user went. It never
// changes; copies share its content.
class ORX_EXPORT KeychainStatus {
 public:
  // Moving copies: a status that was moved from would have no content.
  KeychainStatus(const KeychainStatus& other) = default;
  KeychainStatus& operator=(const KeychainStatus& other) = default;

  // The store that holds the user or would hold the next one, as the last call found it:
  // "secret-service" or "file". Before the first call, the one that the policy names.
  const std::string& store() const;
  // Whether that store encrypts what it writes to the disk. A keyring does, with the password that
  // its user has chosen for it (with an empty one it does not, and there is no way to learn that);
  // the file does not.
  bool encryptedAtRest() const;
  // The last call found the keyring locked, or nobody answered its prompt with a yes.
  bool locked() const;
  // The error of the last call, if it had one; errSecSuccess otherwise. An item that is not there
  // is no error. What a sign-out could not remove is told until it is gone.
  OSStatus lastError() const;
  // What happened, in one sentence; empty without an error.
  const std::string& description() const;
  // The file it is about; empty where it is about none.
  const std::string& path() const;
  // What to do about it, in one sentence; may be empty.
  const std::string& remedy() const;

 private:
  friend ORX_EXPORT KeychainStatus keychainStatus();
  struct Content;
  explicit KeychainStatus(std::shared_ptr<const Content> content);

  std::shared_ptr<const Content> content_;  // never null
};

// What the calls so far have found; does nothing itself, so it never waits. Where the keychain has
// no error, the last one of the user defaults is told.
ORX_EXPORT KeychainStatus keychainStatus();

}  // namespace orx
