#pragma once

#include "platform/keychain/KeychainStore.h"
#include "platform/storage/StoredFile.h"

namespace orx::platform {

// Which store holds the newest version of an item, and where older copies may be left that could
// not be reached. Kept in a small file beside the item's.
struct KeychainRecord {
  enum class Place { Nowhere, SecretService, File };
  Place newest = Place::Nowhere;
  bool staleInSecretService = false;
  bool staleInFile = false;

  bool hasStale() const { return staleInSecretService || staleInFile; }
  bool operator==(const KeychainRecord&) const = default;
};

struct KeychainRecordReading {
  // Absent when there is no such file: whatever is found is the newest then, the file first.
  std::optional<KeychainRecord> record;
  // The file is there and says nothing that can be understood.
  bool damaged = false;
  std::optional<FileProblem> problem;

  bool operator==(const KeychainRecordReading& other) const {
    return record == other.record && damaged == other.damaged && !problem == !other.problem;
  }
};

// `fileName` names the record's file. Without a directory there is no record.
KeychainRecordReading readKeychainRecord(const StoredDirectory& directory,
                                         const std::string& fileName);
// Stores it, or removes the file where the record says no more than its absence. Called under the
// lock that guards the item.
FileOutcome writeKeychainRecord(const StoredDirectory& directory, const std::string& fileName,
                                const KeychainRecord& record);

}  // namespace orx::platform
