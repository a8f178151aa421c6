#pragma once

#include <ORXAccount/platform/Data.h>
#include <ORXAccount/platform/SecItem.h>

#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "platform/storage/StoredFile.h"

namespace orx::platform {

// What names one generic-password item. Any text will do, zero bytes and the empty text included.
struct KeychainItem {
  std::string service;
  std::string account;
};

// How an operation of a store ended. The texts are for people, and empty after a success.
struct KeychainOutcome {
  OSStatus status = errSecSuccess;
  std::string text;    // what happened, naming the path or the service
  std::string path;    // the file or directory it is about; empty where there is none
  std::string remedy;  // what to do about it; may be empty
  // There is no such store on this machine or in this session: others may stand in for it.
  bool storeMissing = false;
  std::string_view store = {};  // the name of the store that it is about, where that is known
};

// A place where items are kept. Every operation is safe to call from any thread and any process,
// changes an item as a whole or not at all, waits for others (locks, prompts) no longer than
// `deadline`, and reports what goes wrong as an outcome; none throws for it.
class KeychainStore {
 public:
  virtual ~KeychainStore() = default;

  // What status displays call it; the same for the life of the store.
  virtual std::string_view name() const noexcept = 0;

  // Whether the store can be used at all; one that does not exist is reported as missing.
  virtual KeychainOutcome probe(Deadline /*deadline*/) { return {}; }

  // errSecDuplicateItem when the item exists, in whatever state.
  virtual KeychainOutcome add(const KeychainItem& item, const Data& bytes, Deadline deadline) = 0;
  // errSecItemNotFound when there is none. An item whose content is damaged is replaced;
  // a store may keep the damaged content aside until the item is removed.
  virtual KeychainOutcome update(const KeychainItem& item, const Data& bytes,
                                 Deadline deadline) = 0;
  // Stores the item, whether there is one or none.
  virtual KeychainOutcome put(const KeychainItem& item, const Data& bytes, Deadline deadline) {
    auto outcome = update(item, bytes, deadline);
    if (outcome.status != errSecItemNotFound) return outcome;
    return add(item, bytes, deadline);
  }
  // Removes every trace of the item; errSecItemNotFound when there is none.
  virtual KeychainOutcome remove(const KeychainItem& item, Deadline deadline) = 0;
  // Sets `bytes` when it succeeds. errSecItemNotFound only when the item is truly absent;
  // errSecDecode when it is there but damaged.
  virtual KeychainOutcome copy(const KeychainItem& item, Deadline deadline,
                               std::optional<Data>& bytes) = 0;
};

// The store that the SecItem functions use: the one of the host's policy, until another is set. A
// call that is running goes on with the store it began with.
std::shared_ptr<KeychainStore> keychainStoreInForce();
void setKeychainStoreInForce(std::shared_ptr<KeychainStore> store);

// How long one call of the SecItem functions waits; two seconds until it is set.
void setKeychainPatience(std::chrono::milliseconds limit);

}  // namespace orx::platform
