#include <ORXAccount/ORVAAccountConstants.h>
#include <ORXAccount/ORVAAccountUser.h>
#include <ORXAccount/ORVAAccountUserCache.h>
#include <ORXAccount/platform/NotificationCenter.h>

#include <mutex>
#include <utility>

#include "platform/process/ForkSafeMutex.h"
#include "platform/process/ForkSafety.h"

namespace orx {

using namespace platform;

namespace {

struct CurrentUser {
  // Held from the identity check until the change is stored, so that memory and store agree however
  // many threads set the user.
  ForkSafeMutex setting{ForkSafeMutex::Section::Long};
  // Guards `user` alone; reading never waits for storage.
  ForkSafeMutex reading{ForkSafeMutex::Section::Brief};
  std::shared_ptr<ORVAAccountUser> user;

  std::shared_ptr<ORVAAccountUser> get() {
    const std::lock_guard guard(reading);
    return user;
  }

  std::shared_ptr<ORVAAccountUser> exchange(std::shared_ptr<ORVAAccountUser> newUser) {
    const std::lock_guard guard(reading);
    return std::exchange(user, std::move(newUser));
  }
};

CurrentUser& holder() {
  static constinit ProcessWide<CurrentUser> instance;
  return instance.get();
}

}  // namespace

std::shared_ptr<ORVAAccountUser> ORVAAccountUser::currentUser() { return holder().get(); }

void ORVAAccountUser::setCurrentUser(const std::shared_ptr<ORVAAccountUser>& user) {
  Dictionary information;
  // Declared before the guard: if this is the previous record's last reference, its destructor runs
  // after the lock has been released.
  std::shared_ptr<ORVAAccountUser> previous;
  {
    const std::lock_guard guard(holder().setting);
    previous = holder().get();
    if (user == previous) return;
    if (user) information.set(ORVAAccountUserChangeNewKey, user);
    if (previous) information.set(ORVAAccountUserChangeOldKey, previous);
    holder().exchange(user);
    ORVAAccountUserCache::sharedInstance()->setCachedUser(user);
  }
  NotificationCenter::defaultCenter()->postNotificationName_object_userInfo(
      ORVAAccountUserDidChangeNotification, classObject(), information);
}

const std::shared_ptr<Object>& ORVAAccountUser::classObject() {
  static constinit ProcessWide<std::shared_ptr<Object>> object;
  return object.get([] { return std::make_shared<Object>(); });
}

}  // namespace orx
