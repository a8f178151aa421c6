// SPDX-License-Identifier: MIT
#include "platform/keychain/PolicyKeychainStore.h"

#include <algorithm>

#include "platform/keychain/StoreStatus.h"

namespace orx::platform {

namespace {

using Missing = StoredDirectory::Missing;

constexpr auto here = ItemState::here;
constexpr auto nowhere = ItemState::nowhere;

// Whether the store surely does not hold the item any more.
bool isGone(const Result<void>& removed) {
  return removed || statusOf(removed) == errSecItemNotFound;
}

// Whether the file may take what the store did not: there is no such store, or it takes nothing
// from a host that lets nobody be asked.
bool letsTheFileStandIn(const Result<void>& written) {
  return isStoreMissing(written) || (!written && isAskingFirst(*written.error()));
}

// Whether the store surely has not written anything. A keyring that says that it is locked may have
// written first, and have been locked since.
bool surelyWroteNothing(const Result<void>& written) {
  return letsTheFileStandIn(written) || statusOf(written) == errSecDuplicateItem;
}

Failure excludedByPolicy(std::string_view store) {
  return keychainFailure(errSecNotAvailable,
                         "The item is kept in the store " + std::string(store) +
                             ", which the application does not use.",
                         {}, "Let the application use that store, or sign in again.");
}

}  // namespace

// One addition or update; refers to the arguments of the call that it serves.
struct PolicyKeychainStore::Change {
  const KeychainItem& item;
  const Data& bytes;
  Deadline deadline;
  // Otherwise it must be absent.
  bool mustExist;
};

PolicyKeychainStore::PolicyKeychainStore(Stores stores, std::function<KeychainPolicy()> policy)
    : stores_(std::move(stores)), policy_(std::move(policy)) {}

// Without looking for a service, since a status display must not wait for one.
std::string_view PolicyKeychainStore::name() const noexcept {
  const bool file = stores_.empty() || policy_() == KeychainPolicy::FileOnly;
  return file ? here : stores_.front()->name();
}

// What the file says. One that cannot be understood may have named any store.
ItemState PolicyKeychainStore::stateOf(const ItemFile& file) const {
  auto state = file.state();
  if (!state.problem) return state;
  for (const auto& store : stores_) state.stale.emplace(store->name());
  return state;
}

// Null for a store that this build does not have, as after a downgrade.
KeychainStore* PolicyKeychainStore::storeNamed(std::string_view name) const {
  const auto found =
      std::ranges::find_if(stores_, [&](const auto& store) { return store->name() == name; });
  return found == stores_.end() ? nullptr : found->get();
}

// Also true of a store that this version of the library does not have.
bool PolicyKeychainStore::isExcluded(std::string_view store) const {
  const auto policy = policy_();
  if (store == here) return policy == KeychainPolicy::SecretServiceOnly;
  return policy == KeychainPolicy::FileOnly || storeNamed(store) == nullptr;
}

// The store that the next version goes to: the first that exists. Null is the file, which stands in
// only where no store exists at all. A store that exists and fails is an error.
Result<KeychainStore*> PolicyKeychainStore::chooseTarget(Deadline deadline) const {
  if (policy_() == KeychainPolicy::FileOnly) return nullptr;
  Result<void> probed;
  for (const auto& store : stores_) {
    noteKeychainStore(std::string(store->name()));
    probed = store->probe(deadline);
    if (probed) return store.get();
    // Another store must not take over: the user would have two items when this one answers again.
    if (!isStoreMissing(probed)) break;
  }
  const bool mayStandIn = probed || isStoreMissing(probed);
  if (!mayStandIn || isExcluded(here)) return Failure(probed.error());
  return nullptr;
}

// Where the next user would be stored as far as is known without asking a store: the worse place,
// unless the policy rules it out. A host that asks whether secrets are encrypted is told too little
// rather than too much.
std::string PolicyKeychainStore::nextStore() const {
  return std::string(isExcluded(here) ? std::string_view() : here);
}

// Reading.

Result<Data> PolicyKeychainStore::copy(const KeychainItem& item, Deadline deadline) {
  ItemFile file(item);
  while (true) {
    noteKeychainStore(here);
    if (auto looked = file.look(); !looked) return Failure(looked.error());
    // Kept for the comparison below: the next look() replaces what the file object holds.
    const auto state = file.state();
    auto bytes = copyFrom(state, item, deadline);
    // One reading of one file: it was so at that moment.
    if (state.newest == here && state.stale.empty() && !state.problem) return bytes;
    // No lock was held: whoever moved the item in the meantime has changed the file, and what was
    // read may be stale.
    if (file.look() && file.state() == state) {
      if (!state.stale.empty()) {
        // Whoever holds the lock is about to do the same, so there is no wait for it.
        const auto entered = file.enter(Missing::DoNotCreate, std::chrono::steady_clock::now());
        if (entered && !file.state().problem) removeStale(file, item, deadline);
      }
      return bytes;
    }
    if (std::chrono::steady_clock::now() >= deadline) return lockedByAnother(file.path());
  }
}

// Reads the newest version and no other. Where it is out of reach that is an error, since an older
// one would bring back a user who has signed out.
Result<Data> PolicyKeychainStore::copyFrom(const ItemState& state, const KeychainItem& item,
                                           Deadline deadline) const {
  if (state.problem) return Failure(state.problem);
  if (state.newest.empty()) {
    return onUnrecorded<Data>([&](KeychainStore& store) { return store.copy(item, deadline); });
  }
  if (state.newest == nowhere) {
    noteKeychainStore(nextStore());
    return keychainFailure(errSecItemNotFound);
  }
  noteKeychainStore(state.newest);
  if (isExcluded(state.newest)) return excludedByPolicy(state.newest);
  if (state.newest == here) return *state.bytes;
  return storeNamed(state.newest)->copy(item, deadline);
}

// For an item without a file. A store can still hold it, from the time of another data directory:
// the operation is carried out on each, up to the first error, and succeeds if it did on one.
template <typename T>
Result<T> PolicyKeychainStore::onUnrecorded(
    const std::function<Result<T>(KeychainStore&)>& operation) const {
  Result<T> result = keychainFailure(errSecItemNotFound);
  if (policy_() == KeychainPolicy::FileOnly) return result;
  for (const auto& store : stores_) {
    auto done = operation(*store);
    // Where the file may stand in, a store that does not exist holds nothing.
    const bool passOver = isStoreMissing(done) && !isExcluded(here);
    if (passOver) continue;
    noteKeychainStore(std::string(store->name()));
    if (!done && statusOf(done) != errSecItemNotFound) return done;
    if (done && !result) result = std::move(done);
  }
  return result;
}

// Writing.

Result<void> PolicyKeychainStore::add(const KeychainItem& item, const Data& bytes,
                                      Deadline deadline) {
  return write({.item = item, .bytes = bytes, .deadline = deadline, .mustExist = false});
}

Result<void> PolicyKeychainStore::update(const KeychainItem& item, const Data& bytes,
                                         Deadline deadline) {
  return write({.item = item, .bytes = bytes, .deadline = deadline, .mustExist = true});
}

// Under the file's lock, so that two processes do not move an item at the same time.
Result<void> PolicyKeychainStore::write(const Change& change) const {
  noteKeychainStore(here);
  ItemFile file(change.item);
  const auto missing = change.mustExist ? Missing::DoNotCreate : Missing::Create;
  if (auto entered = file.enter(missing, change.deadline); !entered) return entered;
  const auto target = chooseTarget(change.deadline);
  if (!target) return Failure(target.error());
  noteKeychainStore(std::string(*target == nullptr ? here : (*target)->name()));

  const auto& newest = file.state().newest;
  // A store knows by itself whether it holds the item.
  const bool isThere = *target != nullptr && newest == (*target)->name();
  const bool mayBeThere = *target != nullptr && newest.empty() && change.mustExist;
  if (isThere || mayBeThere) return writeInPlace(**target, file, change);
  // What is in another store is known from the file alone: that store may be out of reach.
  if (change.mustExist && !file.state().exists()) return keychainFailure(errSecItemNotFound);
  if (!change.mustExist && file.state().exists()) return keychainFailure(errSecDuplicateItem);
  return move(*target, file, change);
}

// Changes the item where it is, or probably is: one step, which needs no note before it.
Result<void> PolicyKeychainStore::writeInPlace(KeychainStore& store, ItemFile& file,
                                               const Change& change) const {
  auto written = change.mustExist ? store.update(change.item, change.bytes, change.deadline)
                                  : store.add(change.item, change.bytes, change.deadline);
  if (!written) return written;
  // Best effort: without the file, only a session without this store would not know of the item.
  if (file.state().newest.empty()) file.write({.newest = std::string(store.name())});
  removeStale(file, change.item, change.deadline);
  return written;
}

// Writes to `target`, null being the file, what was elsewhere or nowhere.
Result<void> PolicyKeychainStore::move(KeychainStore* target, ItemFile& file,
                                       const Change& change) const {
  const auto before = stateOf(file);
  ItemState after{.newest = here, .stale = before.stale};
  if (before.exists() && before.newest != here) after.stale.insert(before.newest);
  if (target == nullptr) {
    after.bytes = change.bytes;
  } else {
    after.newest = target->name();
    after.stale.erase(after.newest);
    // A file with a problem needs no note: it is not read before it is replaced.
    if (!before.problem) {
      auto meanwhile = before;
      // An empty name would make no note: a crash now must not let the new copy count.
      if (meanwhile.newest.empty()) meanwhile.newest = nowhere;
      meanwhile.stale.insert(after.newest);
      if (auto noted = file.write(meanwhile); !noted) return noted;
    }
    // What nobody has recorded may still be there, and must not be overwritten unasked.
    auto written = before.newest.empty() ? target->add(change.item, change.bytes, change.deadline)
                                         : target->put(change.item, change.bytes, change.deadline);
    if (!written) {
      // Best effort: a note that stays only makes later calls look for a copy that is not there.
      if (surelyWroteNothing(written) && !before.problem) file.write(before);
      if (!letsTheFileStandIn(written) || isExcluded(here)) return written;
      noteKeychainStore(here);
      return move(nullptr, file, change);
    }
  }
  if (auto noted = file.write(after); !noted) return noted;
  removeStale(file, change.item, change.deadline);
  return {};
}

// Removing.

Result<void> PolicyKeychainStore::remove(const KeychainItem& item, Deadline deadline) {
  noteKeychainStore(here);
  ItemFile file(item);
  if (auto entered = file.enter(Missing::DoNotCreate, deadline); !entered) return entered;
  // Wherever the item is: a writer that died may have left its bytes here.
  const auto traces = file.removeTraces();
  const auto before = stateOf(file);
  if (before.newest.empty()) {
    auto removed =
        onUnrecorded<void>([&](KeychainStore& store) { return store.remove(item, deadline); });
    return traces ? removed : traces;
  }

  // The note stays while a stale version may be left somewhere; write() removes one that names
  // none.
  ItemState after{.newest = nowhere, .stale = before.stale};
  Result<void> removed;
  if (before.newest == nowhere) {
    noteKeychainStore(nextStore());
    removed = keychainFailure(errSecItemNotFound);
  } else if (before.newest != here) {
    removed = removeFromStore(after, before.newest, item, deadline);
    if (!isGone(removed)) return removed;
  } else if (policy_() != KeychainPolicy::FileOnly) {
    // While the item was here, another store may have held an older one that no file told of, as
    // when the data directory was lost. Unless it is known to be gone, it would be found again.
    for (const auto& store : stores_) after.stale.emplace(store->name());
  }
  if (auto noted = file.write(after); !noted) return noted;
  removeStale(file, item, deadline);
  // The item is gone, but its bytes may still be on the disk: that is told.
  return traces ? removed : traces;
}

// Removes the item from the store that holds it, or notes it in `after` as stale.
Result<void> PolicyKeychainStore::removeFromStore(ItemState& after, const std::string& store,
                                                  const KeychainItem& item,
                                                  Deadline deadline) const {
  Result<void> removed = keychainFailure(errSecNoSuchKeychain);
  if (!isExcluded(store)) {
    noteKeychainStore(store);
    removed = storeNamed(store)->remove(item, deadline);
  }
  if (!isStoreMissing(removed)) return removed;
  // Out of reach: from here on the item is stale, and removed when the store can be reached.
  after.stale.insert(store);
  return {};
}

// Removes the stale versions that can be reached now. Best effort: what could not be removed, or
// not be noted, is tried again by the next call.
void PolicyKeychainStore::removeStale(ItemFile& file, const KeychainItem& item,
                                      Deadline deadline) const {
  auto after = file.state();
  for (const auto& store : stores_) {
    const std::string name(store->name());
    if (!after.stale.contains(name) || isExcluded(name)) continue;
    // Quietly: a prompt for a copy that counts no more would make no sense to anybody.
    const auto removed = store->removeQuietly(item, deadline);
    if (isGone(removed)) after.stale.erase(name);
    if (after.newest == nowhere && !isStoreMissing(removed)) noteKeychainStore(name);
  }
  if (!(after == file.state())) file.write(after);
}

}  // namespace orx::platform
