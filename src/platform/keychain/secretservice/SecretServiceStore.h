// SPDX-License-Identifier: MIT
#pragma once

#include <memory>

#include "platform/keychain/KeychainStore.h"
#include "platform/keychain/PromptRules.h"

namespace orx::platform {

// Keeps each item in the user's keyring, over the Secret Service of the session bus, as an item of
// the attributes "service" and "account" whose secret is one line of ASCII. Without state: every
// operation makes a connection of its own, on a thread of its own, and ends by its deadline, or,
// once a prompt was shown, by that of the rules.
//
// Two processes that add one item at the same moment can both succeed: whoever uses the store keeps
// others out.
class SecretServiceStore final : public KeychainStore {
 public:
  explicit SecretServiceStore(PromptRules rules);

  std::string_view name() const noexcept override { return "secret-service"; }
  Result<void> probe(Deadline deadline) override;
  Result<void> add(const KeychainItem& item, const Data& bytes, Deadline deadline) override;
  Result<void> update(const KeychainItem& item, const Data& bytes, Deadline deadline) override;
  Result<void> put(const KeychainItem& item, const Data& bytes, Deadline deadline) override;
  Result<void> remove(const KeychainItem& item, Deadline deadline) override;
  Result<void> removeQuietly(const KeychainItem& item, Deadline deadline) override;
  Result<Data> copy(const KeychainItem& item, Deadline deadline) override;

 private:
  // Shared with the operations, which may outlive the store.
  std::shared_ptr<const PromptRules> rules_;
};

}  // namespace orx::platform
