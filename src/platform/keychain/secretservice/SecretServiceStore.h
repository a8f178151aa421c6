#pragma once

#include "platform/keychain/secretservice/SecretServiceItems.h"

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

  std::string_view name() const noexcept override { return storeName; }
  KeychainOutcome add(const KeychainItem& item, const Data& bytes, Deadline deadline) override;
  KeychainOutcome update(const KeychainItem& item, const Data& bytes, Deadline deadline) override;
  KeychainOutcome put(const KeychainItem& item, const Data& bytes, Deadline deadline) override;
  KeychainOutcome remove(const KeychainItem& item, Deadline deadline) override;
  KeychainOutcome copy(const KeychainItem& item, Deadline deadline,
                       std::optional<Data>& bytes) override;
  KeychainOutcome probe(Deadline deadline) override;

  static constexpr std::string_view storeName = "secret-service";

 private:
  std::shared_ptr<const PromptRules> rules_;
};

}  // namespace orx::platform
