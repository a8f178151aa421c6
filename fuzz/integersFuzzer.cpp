// SPDX-License-Identifier: MIT
#include "FuzzTarget.h"
#include "platform/base/Integers.h"

ORX_FUZZ_TARGET(text) {
  const std::int64_t wide = orx::platform::longLongValue(text);
  const auto narrow = static_cast<std::int64_t>(orx::platform::intValue(text));
  constexpr std::int64_t low = std::numeric_limits<std::int32_t>::min();
  constexpr std::int64_t high = std::numeric_limits<std::int32_t>::max();
  ORX_FUZZ_CHECK(narrow == std::clamp(wide, low, high));
}
