// SPDX-License-Identifier: MIT
#pragma once

#include <ORXAccount/platform/Keychain.h>

#include <functional>
#include <memory>
#include <vector>

#include "platform/keychain/ItemFile.h"

namespace orx::platform {

// The user's files and a list of other stores as one store, under the host's policy. The item's
// file says which of them holds the newest version. A version elsewhere is stale: it is never read,
// and removed when its store can be reached.
//
// A crash at any moment leaves the old version or the new one. A move to another store takes three
// steps: note the target as stale, since it is about to hold something that does not count yet;
// write there; note the target as the newest. Only then is the old version removed.
class PolicyKeychainStore final : public KeychainStore {
 public:
  // The preferred one first. Their names are different from each other and from ItemState's.
  using Stores = std::vector<std::shared_ptr<KeychainStore>>;
  PolicyKeychainStore(Stores stores, std::function<KeychainPolicy()> policy);

  // Of the store that the policy names.
  std::string_view name() const noexcept override;
  Result<void> add(const KeychainItem& item, const Data& bytes, Deadline deadline) override;
  Result<void> update(const KeychainItem& item, const Data& bytes, Deadline deadline) override;
  Result<void> remove(const KeychainItem& item, Deadline deadline) override;
  Result<Data> copy(const KeychainItem& item, Deadline deadline) override;

 private:
  struct Change;

  ItemState stateOf(const ItemFile& file) const;
  KeychainStore* storeNamed(std::string_view name) const;
  bool isExcluded(std::string_view store) const;
  std::string nextStore() const;
  Result<KeychainStore*> chooseTarget(Deadline deadline) const;

  Result<Data> copyFrom(const ItemState& state, const KeychainItem& item, Deadline deadline) const;
  template <typename T>
  Result<T> onUnrecorded(const std::function<Result<T>(KeychainStore&)>& operation) const;
  Result<void> write(const Change& change) const;
  Result<void> writeInPlace(KeychainStore& store, ItemFile& file, const Change& change) const;
  Result<void> move(KeychainStore* target, ItemFile& file, const Change& change) const;
  Result<void> removeFromStore(ItemState& after, const std::string& store, const KeychainItem& item,
                               Deadline deadline) const;
  void removeStale(ItemFile& file, const KeychainItem& item, Deadline deadline) const;

  Stores stores_;
  std::function<KeychainPolicy()> policy_;
};

}  // namespace orx::platform
