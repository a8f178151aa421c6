#pragma once

#include <optional>
#include <string>

namespace orx::platform {

// The address of the user's session bus, as the environment and the runtime directory name it. Read
// at each call; absent where neither names one. No bus is ever started.
std::optional<std::string> sessionBusAddress();

}  // namespace orx::platform
