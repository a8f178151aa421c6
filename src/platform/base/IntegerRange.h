// SPDX-License-Identifier: MIT
#pragma once

namespace orx::platform {

// The first doubles beyond the ranges of the 64-bit integers. Converting one of them, or a larger
// one, to such an integer is undefined.
inline constexpr double kTwoTo63 = 9223372036854775808.0;
inline constexpr double kTwoTo64 = 18446744073709551616.0;

}  // namespace orx::platform
