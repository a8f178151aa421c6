// SPDX-License-Identifier: MIT
#pragma once

#include <ORXAccount/platform/Data.h>
#include <ORXAccount/platform/Export.h>
#include <ORXAccount/platform/Object.h>

#include <memory>
#include <optional>

namespace orx {

class ORVAAccountUser;

// Keeps the signed-in user across launches: the record in the keychain, tied by an installation
// UUID to the application's user defaults. Processes of one application share the stored user. Safe
// to use from any thread. Calls wait for the disk and, when another process or the keyring holds
// them up, as long as ORVAAccountUser::setCurrentUser says.
class ORX_EXPORT ORVAAccountUserCache final : public Object {
 public:
  // Made on first use, with the bundle identifier of that moment, and never destroyed.
  static const std::shared_ptr<ORVAAccountUserCache>& sharedInstance();

  // Stores the user, or removes what is stored when `user` is null. What could not be stored is not
  // reported here. After std::bad_alloc the same call can be made again.
  void setCachedUser(const std::shared_ptr<ORVAAccountUser>& user);

  // The stored user as a new record; null when there is none and when the store cannot be read:
  // locked, out of reach or damaged. keychainStatus() tells these apart. An item that belongs to
  // another installation is removed.
  std::shared_ptr<ORVAAccountUser> cachedUser();

  ~ORVAAccountUserCache() override;

  // From here on: what the library itself calls; not for hosts.

  // The same for a start-up, but absent, rather than null, when the store cannot be read. Storing
  // the user that it gave, as the next call, does nothing where another process has signed in or
  // out meanwhile.
  std::optional<std::shared_ptr<ORVAAccountUser>> userToRestore();
  // The two halves of setCachedUser(). The first one runs encodeWithCoder of what the record holds,
  // so no lock may be held around it. It gives nothing for null and for a record that no archive
  // takes, which the second then does not store.
  std::optional<Data> archivedUser(const std::shared_ptr<ORVAAccountUser>& user);
  void setCachedUser_archivedUser(const std::shared_ptr<ORVAAccountUser>& user,
                                  const std::optional<Data>& archivedUser);

 private:
  ORVAAccountUserCache();
  struct State;

  std::unique_ptr<State> state_;
};

}  // namespace orx
