#include <ORXAccount/ORVAAccountConstants.h>
#include <ORXAccount/ORVAAccountUser.h>
#include <ORXAccount/ORVAAccountUserCache.h>
#include <ORXAccount/platform/NotificationCenter.h>

#include <mutex>
#include <utility>

#include "platform/process/ForkSafety.h"
#include "user/CurrentUser.h"

namespace orx {

using namespace platform;
using namespace user;

namespace {

using SharedUser = std::shared_ptr<ORVAAccountUser>;

// Locked from the identity check until the change is stored, so that memory and store agree however
// many threads set the user.
constinit std::mutex settingMutex;
// That takes as long as the storage does, so a fork does not wait for it: the child starts with an
// unlocked one.
const ForkChildHandler unlockInChild([] { std::construct_at(&settingMutex); });

// Not guarded by the mutex above, so that reading never waits for storage.
Guarded<SharedUser>& currentRecord() {
  static constinit ProcessWide<Guarded<SharedUser>> current;
  return current.get();
}

}  // namespace

std::shared_ptr<ORVAAccountUser> ORVAAccountUser::currentUser() { return currentRecord().get(); }

void ORVAAccountUser::setCurrentUser(const std::shared_ptr<ORVAAccountUser>& user) {
  if (const auto information = changeCurrentUser(user)) announceChange(*information);
}

std::optional<Dictionary> user::changeCurrentUser(const SharedUser& user) {
  Dictionary information;
  const std::lock_guard guard(settingMutex);
  const auto previous = ORVAAccountUser::currentUser();
  const bool isChange = user != previous;
  if (!isChange && (user || !isSignOutUnfinished())) return std::nullopt;
  if (user) information.set(ORVAAccountUserChangeNewKey, user);
  // Kept beyond the lock by what is returned: its destructor may be host code.
  if (previous) information.set(ORVAAccountUserChangeOldKey, previous);
  currentRecord().set(user);
  ORVAAccountUserCache::sharedInstance()->setCachedUser(user);
  if (!isChange) return std::nullopt;
  return information;
}

void user::announceChange(const Dictionary& information) {
  NotificationCenter::defaultCenter()->postNotificationName_object_userInfo(
      ORVAAccountUserDidChangeNotification, ORVAAccountUser::classObject(), information);
}

const std::shared_ptr<Object>& ORVAAccountUser::classObject() {
  static constinit ProcessWide<std::shared_ptr<Object>> object;
  return object.get([] { return std::make_shared<Object>(); });
}

}  // namespace orx
