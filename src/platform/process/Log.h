#pragma once

#include <string_view>

namespace orx::platform {

// Writes one diagnostic line to the process's standard error, in one piece. Never fails.
void NSLog(std::string_view line) noexcept;

}  // namespace orx::platform
