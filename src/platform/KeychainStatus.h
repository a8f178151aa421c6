#pragma once

#include <ORXAccount/platform/Error.h>

#include "platform/KeychainStore.h"

namespace orx {

// Whether what was stored can be reached, for people who wonder where their user went.
struct KeychainStatus {
  std::string store;                   // the store in force, by its name()
  bool locked = false;                 // the last call found it locked
  OSStatus lastError = errSecSuccess;  // of the last call that failed, if none succeeded since
  std::string description;             // what happened, naming the path; empty without an error
  std::string path;                    // may be empty
  std::string remedy;                  // what to do about it; may be empty
};

// The keychain's last problem, or that of the user defaults where the keychain has none. Safe to
// call from any thread.
KeychainStatus keychainStatusNow();

// Called after each SecItem call; an item that is missing or exists already is no problem.
void noteKeychainOutcome(const KeychainOutcome& outcome);
// Called after the defaults were read or written for the stored user; null means they worked.
void noteDefaultsOutcome(const std::shared_ptr<Error>& error);

}  // namespace orx
