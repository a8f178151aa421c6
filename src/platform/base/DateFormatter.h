// SPDX-License-Identifier: MIT
#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <string_view>

namespace orx::platform {

// The instant that a text of exactly the form yyyy-MM-dd'T'HH:mm:ss names in UTC; absent for every
// other text, and for dates that no calendar has.
std::optional<std::chrono::sys_seconds> dateFromString(std::string_view text);

// The text that dateFromString reads as this instant, which lies in the years 1 to 9999.
std::string stringFromDate(std::chrono::sys_seconds date);

}  // namespace orx::platform
