// SPDX-License-Identifier: MIT
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace orx::platform {

// Where a user's files live. Read from the environment at each call; a variable that is not an
// absolute path counts as unset, and a set-user-ID program does not trust any. Absent when neither
// the environment nor the user database knows the user's home.
std::optional<std::string> configurationHome();
std::optional<std::string> dataHome();
// Set to an absolute path, it decides where configurationHome() is; and the same for dataHome().
inline constexpr const char* configurationHomeVariable = "XDG_CONFIG_HOME";
inline constexpr const char* dataHomeVariable = "XDG_DATA_HOME";

// What the running program is called, without its folder; never empty.
std::string programName();

// Every byte that is not one of `plain` as %XX.
std::string percentEncoded(std::string_view text, std::string_view plain);

// Any text as one component of a path: letters, digits, "-", "_" and "." (not in front) stay, every
// other byte becomes %XX, and the empty text a lone "%". Different texts give different components.
std::string pathComponent(std::string_view text);

}  // namespace orx::platform
