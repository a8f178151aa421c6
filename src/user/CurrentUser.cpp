// SPDX-License-Identifier: MIT
#include "user/CurrentUser.h"

#include <ORXAccount/ORVAAccountConstants.h>
#include <ORXAccount/ORVAAccountUser.h>
#include <ORXAccount/ORVAAccountUserCache.h>
#include <ORXAccount/platform/NotificationCenter.h>

#include <mutex>
#include <new>
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
  auto information = changeCurrentUser(user);
  logStore(user != nullptr);
  if (!information) return;
  // On this thread the caller hears that memory has run out. On another one nobody would: the user
  // is then the one from before again, as observers know.
  if (!callbackExecutorFor(CallbackKind::Change)) return announceChange(*information);
  callBack(CallbackKind::Change, [announced = *std::move(information)] {
    try {
      announceChange(announced);
    } catch (const std::bad_alloc&) {
    }
  });
}

std::optional<Dictionary> user::changeCurrentUser(const SharedUser& user) {
  const auto& cache = ORVAAccountUserCache::sharedInstance();
  const auto archived = cache->archivedUser(user);
  Dictionary information;
  // Released at the end of this function, when no lock is held: its destructor may be host code.
  SharedUser previous;
  const std::lock_guard guard(settingMutex);
  previous = ORVAAccountUser::currentUser();
  if (isDone(user)) return std::nullopt;
  if (!user && !previous) {
    finishSignOut();
    return std::nullopt;
  }
  if (user) information.set(ORVAAccountUserChangeNewKey, user);
  if (previous) information.set(ORVAAccountUserChangeOldKey, previous);
  currentRecord().set(user);
  try {
    cache->setCachedUser_archivedUser(user, archived);
  } catch (...) {
    // A sign-out that memory ran out for would else find nobody to sign out when it is repeated,
    // and the user would be back at the next start.
    currentRecord().set(previous);
    throw;
  }
  return information;
}

void user::announceChange(const Dictionary& information) {
  try {
    // Throws before the first observer runs, or not at all.
    NotificationCenter::defaultCenter()->postNotificationName_object_userInfo(
        ORVAAccountUserDidChangeNotification, ORVAAccountUser::classObject(), information);
  } catch (...) {
    // So that whoever repeats the change is heard of.
    const auto userUnder = [&](std::string_view key) {
      return information[key].objectOf<ORVAAccountUser>();
    };
    const std::lock_guard guard(settingMutex);
    if (ORVAAccountUser::currentUser() == userUnder(ORVAAccountUserChangeNewKey)) {
      currentRecord().set(userUnder(ORVAAccountUserChangeOldKey));
    }
    throw;
  }
}

const std::shared_ptr<Object>& ORVAAccountUser::classObject() {
  static constinit ProcessWide<std::shared_ptr<Object>> object;
  return object.get([] { return std::make_shared<Object>(); });
}

}  // namespace orx
