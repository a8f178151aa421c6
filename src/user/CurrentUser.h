// SPDX-License-Identifier: MIT
#pragma once

#include <ORXAccount/ORVAAccountUser.h>
#include <ORXAccount/platform/NotificationCenter.h>

#include <memory>
#include <optional>

namespace orx::user {

// What ORVAAccountUser::setCurrentUser() does before it posts the notification: makes the user
// current and stores it, which takes as long as the stores do. Returns that notification; absent
// when nothing changed. The host's log is told after it: logStore().
std::optional<Notification> changeCurrentUser(const std::shared_ptr<ORVAAccountUser>& user);

// Whether the last sign-out left an item behind that belongs to nobody. Reading the cached user
// removes it.
bool isSignOutUnfinished();

}  // namespace orx::user
