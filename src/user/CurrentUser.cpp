// SPDX-License-Identifier: MIT
#include "user/CurrentUser.h"

#include <ORXAccount/ORVAAccountConstants.h>
#include <ORXAccount/ORVAAccountUser.h>
#include <ORXAccount/ORVAAccountUserCache.h>
#include <ORXAccount/platform/NotificationCenter.h>

#include <mutex>
#include <utility>

#include "platform/keychain/StoreStatus.h"
#include "platform/process/ForkSafety.h"
#include "platform/queues/Callback.h"

namespace orx {

using namespace platform;
using namespace user;

namespace {

using SharedUser = std::shared_ptr<ORVAAccountUser>;

// Locked from the identity check until the change is stored, so that memory and store agree however
// many threads set the user. No host code runs under it.
constinit std::mutex settingMutex;
// That takes as long as the storage does, so a fork does not wait for it: the child starts with an
// unlocked one.
const ForkChildHandler unlockInChild([] { std::construct_at(&settingMutex); });

// Not guarded by the mutex above, so that reading never waits for storage.
Guarded<SharedUser>& currentRecord() {
  static constinit ProcessWide<Guarded<SharedUser>> current;
  return current.get();
}

bool isDone(const SharedUser& user) {
  return user == ORVAAccountUser::currentUser() && (user || !isSignOutUnfinished());
}

}  // namespace

std::shared_ptr<ORVAAccountUser> ORVAAccountUser::currentUser() { return currentRecord().get(); }

void ORVAAccountUser::setCurrentUser(const std::shared_ptr<ORVAAccountUser>& user) {
  if (isDone(user)) return;
  const auto change = changeCurrentUser(user);
  logStore(user && change);
  if (!change) return;
  callBack(CallbackKind::Change,
           [change = *change] { NotificationCenter::defaultCenter()->postNotification(change); });
}

std::optional<Notification> user::changeCurrentUser(const SharedUser& user) {
  const auto& cache = ORVAAccountUserCache::sharedInstance();
  const auto archived = cache->archivedUser(user);
  Dictionary information;
  // Released at the end of this function, when no lock is held: its destructor may be host code.
  SharedUser previous;
  const std::lock_guard guard(settingMutex);
  previous = ORVAAccountUser::currentUser();
  if (isDone(user)) return std::nullopt;
  if (!user && !previous) {
    // Removes what a sign-out has left, but nobody who has signed in since in another process.
    previous = cache->cachedUser();
    return std::nullopt;
  }
  if (user) information.set(ORVAAccountUserChangeNewKey, user);
  if (previous) information.set(ORVAAccountUserChangeOldKey, previous);
  // Made first: once the user is current, nothing may be lacking to tell so.
  const Notification change(ORVAAccountUserDidChangeNotification, ORVAAccountUser::classObject(),
                            information);
  NotificationCenter::defaultCenter();
  currentRecord().set(user);
  try {
    cache->setCachedUser_archivedUser(user, archived);
  } catch (...) {
    // A sign-out that memory ran out for would else find nobody to sign out when it is repeated,
    // and the user would be back at the next start.
    currentRecord().set(previous);
    throw;
  }
  return change;
}

const std::shared_ptr<Object>& ORVAAccountUser::classObject() {
  static constinit ProcessWide<std::shared_ptr<Object>> object;
  return object.get([] { return std::make_shared<Object>(); });
}

}  // namespace orx
