// SPDX-License-Identifier: MIT
#include "FuzzTarget.h"
#include "platform/base/DateFormatter.h"

// A text that is read as a date is exactly what that date is written as.
ORX_FUZZ_TARGET(text) {
  const auto date = orx::platform::dateFromString(text);
  ORX_FUZZ_CHECK(!date || text == orx::platform::stringFromDate(*date));
}
