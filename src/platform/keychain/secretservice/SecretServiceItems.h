// SPDX-License-Identifier: MIT
#pragma once

#include "platform/base/Wiping.h"
#include "platform/keychain/secretservice/SecretServiceConnection.h"

namespace orx::platform {

// The item that a store means, among all that the service keeps: the ones with its two attributes,
// except those that another program gave a type of its own. More than one can match, since programs
// that add at the same moment both succeed; the newest that is whole counts. Throws
// SecretServiceFailures.
class SecretServiceItems {
 public:
  SecretServiceItems(SecretServiceConnection& connection, const KeychainItem& item)
      : connection_(connection), item_(item) {}

  // Throws NotFound, or Damaged when there is one without our content.
  Data read();
  // Throws Duplicate when there is one already.
  void add(const Data& bytes);
  // Throws NotFound when there is none.
  void update(const Data& bytes);
  // Either of them.
  void put(const Data& bytes);
  // Removes every one. Throws NotFound when there is none.
  void remove();

 private:
  using Path = SecretServiceConnection::Path;

  std::vector<Path> find();
  SecretServiceConnection::Found searchIncludingLockedKeyring();
  std::vector<Path> findUnlocked();
  bool isForeign(const Path& path);
  Path collection();
  Wiped<std::string> secretFor(const Data& bytes) const;
  std::optional<Data> contentOf(const Path& path);
  bool replace(const Data& bytes);
  void requireKept(const Path& path, const Data& bytes);
  void requireGone(const std::vector<Path>& paths);
  void erase(const Path& path);

  SecretServiceConnection& connection_;
  const KeychainItem& item_;
};

}  // namespace orx::platform
