// SPDX-License-Identifier: MIT
#pragma once

#include <string>

namespace orx::platform {

// A new random UUID: 36 characters, upper-case hexadecimal, grouped 8-4-4-4-12.
std::string UUIDString();

}  // namespace orx::platform
