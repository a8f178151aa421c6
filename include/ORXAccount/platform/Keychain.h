#pragma once

#include <ORXAccount/platform/Export.h>
#include <ORXAccount/platform/SecItem.h>

#include <string>

namespace orx {

// Where the signed-in user is kept: in the user's keyring, over the Secret Service of the session
// bus, or in a file that only the user can read. A host sets this at start-up, before it
// initialises ORVAAccount. Everything here is safe to use from any thread.

enum class KeychainPolicy {
  // The keyring or nothing. Where no Secret Service exists, nobody is stored.
  SecretServiceOnly,
  // The file; the session bus is never spoken to.
  FileOnly,
  // The keyring; the file where no Secret Service exists at all, as on a server, and where an
  // unlocked keyring takes no new user without asking while prompts are not allowed. A service that
  // is locked, silent or broken is an error, and the file does not stand in for it.
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

// Whether what is stored can be reached, for people who wonder where their user went.
struct KeychainStatus {
  // The store that holds the user or would hold the next one, as the last call found it:
  // "secret-service" or "file". Before the first call, the one that the policy names.
  std::string store;
  // The last call found the keyring locked.
  bool locked = false;
  // The error of the last call, if it had one; errSecSuccess otherwise. An item that is not there
  // is no error. What a sign-out could not remove is told until it is gone.
  OSStatus lastError = errSecSuccess;
  std::string description;  // what happened, in one sentence; empty without an error
  std::string path;         // the file it is about; empty where it is about none
  std::string remedy;       // what to do about it, in one sentence; may be empty
};

// What the calls so far have found; does nothing itself, so it never waits. Where the keychain has
// no error, the last one of the user defaults is told.
ORX_EXPORT KeychainStatus keychainStatus();

}  // namespace orx
