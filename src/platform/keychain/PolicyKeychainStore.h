#pragma once

#include <ORXAccount/platform/Keychain.h>

#include <functional>

#include "platform/keychain/KeychainRecord.h"

namespace orx::platform {

// The keyring and the file store as one store, under the host's policy. A record beside the file
// store says which of the two holds the newest version of an item; a copy in the other is stale,
// never read, and removed when it can be reached.
//
// A change of place goes in an order in which a crash at any moment leaves the old version or the
// new one: record the target's copy as stale, write it, record it as the newest, remove the other.
class PolicyKeychainStore final : public KeychainStore {
 public:
  struct Stores {
    std::shared_ptr<KeychainStore> secretService;
    // The same, without asking anybody: for removing stale copies.
    std::shared_ptr<KeychainStore> quietSecretService;
    std::shared_ptr<KeychainStore> file;
  };
  PolicyKeychainStore(Stores stores, std::function<KeychainPolicy()> policy);
  // Over the session's Secret Service and the user's files, under the policy that the host sets.
  static std::shared_ptr<PolicyKeychainStore> ofHost();

  std::string_view name() const noexcept override;
  KeychainOutcome add(const KeychainItem& item, const Data& bytes, Deadline deadline) override;
  KeychainOutcome update(const KeychainItem& item, const Data& bytes, Deadline deadline) override;
  KeychainOutcome remove(const KeychainItem& item, Deadline deadline) override;
  KeychainOutcome copy(const KeychainItem& item, Deadline deadline,
                       std::optional<Data>& bytes) override;

  static std::string recordNameOf(const KeychainItem& item);

 private:
  using Place = KeychainRecord::Place;
  enum class Condition { MustBeAbsent, MustExist };
  struct Scene;
  struct Change;

  Scene open(const KeychainItem& item, StoredDirectory::Missing missing) const;
  Scene look(const KeychainItem& item) const;
  Scene enter(const KeychainItem& item, StoredDirectory::Missing missing, Deadline deadline) const;
  KeychainStore& storeAt(Place place) const;
  KeychainOutcome copyFrom(const Scene& scene, const KeychainItem& item, Deadline deadline,
                           std::optional<Data>& bytes) const;
  KeychainOutcome write(const Change& change) const;
  KeychainOutcome writeTo(Place target, Scene& scene, const Change& change) const;
  KeychainOutcome writeFirst(Place target, Scene& scene, const Change& change) const;
  KeychainOutcome writeIn(Place place, const Change& change) const;
  KeychainOutcome move(Place target, Scene& scene, const Change& change) const;
  bool isReplaceable(Place place, const Change& change) const;
  KeychainOutcome removeUnrecorded(const KeychainItem& item, Deadline deadline) const;
  KeychainOutcome removeFrom(Place place, Scene& scene, const KeychainItem& item,
                             Deadline deadline) const;
  void tidy(Scene& scene, const KeychainItem& item, Deadline deadline) const;
  void tidyAfterReading(const KeychainItem& item, Deadline deadline) const;

  Stores stores_;
  std::function<KeychainPolicy()> policy_;
};

}  // namespace orx::platform
