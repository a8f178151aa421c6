// SPDX-License-Identifier: MIT
#pragma once

#include <string_view>

namespace orx::user {

// The name of a user record within stored archives. It is a format and never changes.
inline constexpr std::string_view kUserClassName = "ORVAAccountUser";

// Makes the classes of this folder readable from archives. Called before the first archive is read;
// calling it again, from any thread, changes nothing.
void registerArchivedClasses();

}  // namespace orx::user
