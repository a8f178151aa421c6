// SPDX-License-Identifier: MIT
#pragma once

#include <ORXAccount/platform/Data.h>
#include <ORXAccount/platform/SecItem.h>

#include <string>
#include <string_view>

#include "platform/base/Deadline.h"
#include "platform/base/Result.h"

namespace orx::platform {

// What names one generic-password item. Any text will do, zero bytes and the empty text included.
struct KeychainItem {
  std::string service;
  std::string account;

  bool operator==(const KeychainItem&) const = default;
};

// A place where items are kept. Every operation is safe to call from any thread and any process,
// changes an item as a whole or not at all, and waits for others (locks, prompts) no longer than
// `deadline`. What goes wrong is an error whose status statusOf() tells; nothing is thrown for it.
class KeychainStore {
 public:
  virtual ~KeychainStore() = default;

  // What status displays call it: lower-case letters and "-", the same in every version, since it
  // is written into items' files.
  virtual std::string_view name() const noexcept = 0;

  // Whether the store can be used at all; errSecNoSuchKeychain when it does not exist here.
  virtual Result<void> probe(Deadline /*deadline*/) { return {}; }

  // errSecDuplicateItem when the item exists, in whatever state.
  virtual Result<void> add(const KeychainItem& item, const Data& bytes, Deadline deadline) = 0;
  // errSecItemNotFound when there is none. An item whose content is damaged is replaced; a store
  // may keep the damaged content until the item is removed.
  virtual Result<void> update(const KeychainItem& item, const Data& bytes, Deadline deadline) = 0;
  // Stores the item, whether there is one or none.
  virtual Result<void> put(const KeychainItem& item, const Data& bytes, Deadline deadline);
  // Removes every trace of the item; errSecItemNotFound when there is none.
  virtual Result<void> remove(const KeychainItem& item, Deadline deadline) = 0;
  // The same without asking anybody, for copies that nobody knows of any more.
  virtual Result<void> removeQuietly(const KeychainItem& item, Deadline deadline) {
    return remove(item, deadline);
  }
  // errSecItemNotFound only when the item is truly absent; errSecDecode when it is there but
  // damaged.
  virtual Result<Data> copy(const KeychainItem& item, Deadline deadline) = 0;
};

// The domain of errors whose code is an OSStatus.
inline constexpr std::string_view NSOSStatusErrorDomain = "NSOSStatusErrorDomain";
// There is no such store on this machine or in this session, so that others may stand in for it. To
// a host it is errSecNotAvailable.
inline constexpr OSStatus errSecNoSuchKeychain = -25294;

// The store takes nothing without asking somebody, and nobody may be asked. To a host it is
// errSecInteractionNotAllowed.
inline constexpr OSStatus errSecInteractionRequired = -25315;

// The texts are those of makeFailure(); all of them are empty where the status says it all.
Failure keychainFailure(OSStatus status, std::string text = {}, std::string path = {},
                        std::string remedy = {});

// The status that a host is told for an error of a store or of the files below it.
OSStatus statusOf(const Error& error);
template <typename T>
OSStatus statusOf(const Result<T>& result) {
  return result ? errSecSuccess : statusOf(*result.error());
}

// True for a failure with errSecNoSuchKeychain.
bool isStoreMissing(const Error& error);
template <typename T>
bool isStoreMissing(const Result<T>& result) {
  return !result && isStoreMissing(*result.error());
}
// True for a failure with errSecInteractionRequired.
bool isAskingFirst(const Error& error);

}  // namespace orx::platform
