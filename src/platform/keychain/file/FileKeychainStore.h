#pragma once

#include "platform/keychain/KeychainStore.h"

namespace orx::platform {

// Keeps each item in a file of its own under $XDG_DATA_HOME/orxaccount/, readable by its owner
// alone. Without state: the environment is read at each call.
class FileKeychainStore final : public KeychainStore {
 public:
  std::string_view name() const noexcept override { return "file"; }
  KeychainOutcome add(const KeychainItem& item, const Data& bytes, Deadline deadline) override;
  KeychainOutcome update(const KeychainItem& item, const Data& bytes, Deadline deadline) override;
  KeychainOutcome remove(const KeychainItem& item, Deadline deadline) override;
  KeychainOutcome copy(const KeychainItem& item, Deadline deadline,
                       std::optional<Data>& bytes) override;

  // The item's file below the directory.
  static std::string fileNameOf(const KeychainItem& item);

 private:
  enum class Condition { MustBeAbsent, MustExist };
  KeychainOutcome write(const KeychainItem& item, const Data& bytes, Deadline deadline,
                        Condition condition);
};

// The status that stands for a problem of the file system.
OSStatus statusOf(const FileProblem& problem);
KeychainOutcome outcomeOf(const FileOutcome& problem);

// The directory that holds the items' files.
StoredDirectory::Opening openKeychainDirectory(StoredDirectory::Missing missing);

}  // namespace orx::platform
