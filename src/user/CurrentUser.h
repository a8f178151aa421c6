// SPDX-License-Identifier: MIT
#pragma once

#include <ORXAccount/ORVAAccountUser.h>

#include <memory>
#include <optional>

namespace orx::user {

// The two halves of ORVAAccountUser::setCurrentUser(). The first makes the user current and stores
// it, and takes as long as the stores do. It returns what the notification tells; absent when
// nothing changed. The second posts the notification, and takes as long as its observers do. The
// host's log is told in between or afterwards: logStore().
std::optional<Dictionary> changeCurrentUser(const std::shared_ptr<ORVAAccountUser>& user);
void announceChange(const Dictionary& information);

// Whether the last sign-out left something behind that the next one may be able to remove.
bool isSignOutUnfinished();
// Removes it, unless somebody has signed in since, in another process.
void finishSignOut();

}  // namespace orx::user
