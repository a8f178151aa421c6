// SPDX-License-Identifier: MIT
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "platform/keychain/KeychainStore.h"
#include "platform/storage/StoredDirectory.h"

namespace orx::platform {

// What an item's file says of the item.
struct ItemState {
  static constexpr const char* here = "file";
  static constexpr const char* nowhere = "nowhere";

  // Who holds the newest version: `here`, the name of a store, or `nowhere` once it was removed.
  // Empty where there is no file: then any store may hold the item.
  std::string newest;
  // The stores in which an older version may be left, which must not be read. In this order an
  // earlier version of the library wrote them ("secret-service file").
  std::set<std::string, std::greater<>> stale = {};
  // The newest version, when it is here and whole.
  std::optional<Data> bytes = {};
  // Why the file cannot be understood; null when it can. Every store may hold a stale version then.
  std::shared_ptr<Error> problem = {};

  bool exists() const { return !newest.empty() && newest != nowhere; }
  bool operator==(const ItemState& other) const {
    return newest == other.newest && stale == other.stale && bytes == other.bytes &&
           !problem == !other.problem;
  }
};

// The file of one item under $XDG_DATA_HOME/orxaccount/, readable by its owner alone. It holds the
// item, or a note that says which store holds it, or both where another store may hold a stale
// version. So one atomic replacement moves an item, and there is no moment at which two files
// disagree. An object serves one operation on one thread; the environment is read at each.
class ItemFile {
 public:
  explicit ItemFile(const KeychainItem& item);

  // The file's name below the directory.
  static std::string nameOf(const KeychainItem& item);

  // Reads the file without a lock. Where the user has no home directory there is no file.
  Result<void> look();
  // The same, keeping out whoever else enters for this item until this object goes. A file that
  // cannot be read is a problem of the state rather than an error, so that it can be replaced; one
  // that may not be trusted is an error.
  Result<void> enter(StoredDirectory::Missing missing, Deadline deadline);

  const ItemState& state() const { return state_; }
  std::string path() const { return directory_ ? directory_->pathOf(name_) : name_; }

  // These come after enter().
  // Makes the file say `next`, in one step. Says nothing, and does nothing, where the directory is
  // made only now and somebody else has stored the item since.
  Result<void> write(const ItemState& next);
  // Removes what dead writers of the item left, and its quarantined versions.
  Result<void> removeTraces() const;

 private:
  std::string recordName() const { return stem_ + ".state"; }
  Result<void> open(StoredDirectory::Missing missing);
  Result<void> read();
  Result<void> takeRecord(const Result<std::optional<Data>>& record);
  Result<void> removeRecord();
  ItemState stateIn(const Data& content) const;
  Data contentOf(const ItemState& state) const;
  ItemState damaged(const std::string& name) const;

  const KeychainItem& item_;
  std::string name_;
  std::string stem_;  // the name without its ending
  std::optional<StoredDirectory> directory_;
  std::vector<FileLock> locks_;
  Deadline deadline_;
  ItemState state_;
  // What an earlier version of the library left beside the file.
  enum class Record { None, Whole, Damaged } record_ = Record::None;
};

}  // namespace orx::platform
