// SPDX-License-Identifier: MIT
#include "platform/keychain/KeychainStore.h"

#include "platform/storage/FileErrors.h"

namespace orx::platform {

Result<void> KeychainStore::put(const KeychainItem& item, const Data& bytes, Deadline deadline) {
  auto updated = update(item, bytes, deadline);
  if (statusOf(updated) != errSecItemNotFound) return updated;
  return add(item, bytes, deadline);
}

Failure keychainFailure(OSStatus status, std::string text, std::string path, std::string remedy) {
  return makeFailure(NSOSStatusErrorDomain, status, std::move(text), std::move(path),
                     std::move(remedy));
}

namespace {

bool hasStatus(const Error& error, OSStatus status) {
  return error.domain() == NSOSStatusErrorDomain && error.code() == status;
}

}  // namespace

// Errors of files come with domains of their own. A file that may not be trusted is not available
// rather than broken: the user can mend it.
OSStatus statusOf(const Error& error) {
  if (isStoreMissing(error) || isRefusal(error)) return errSecNotAvailable;
  if (isAskingFirst(error)) return errSecInteractionNotAllowed;
  if (error.domain() == NSOSStatusErrorDomain) return static_cast<OSStatus>(error.code());
  return errSecIO;
}

bool isStoreMissing(const Error& error) { return hasStatus(error, errSecNoSuchKeychain); }
bool isAskingFirst(const Error& error) { return hasStatus(error, errSecInteractionRequired); }

}  // namespace orx::platform
