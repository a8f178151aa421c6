#include "FuzzTarget.h"
#include "platform/base/DateFormatter.h"

// What is read as a date is what the date is written as.
ORX_FUZZ_TARGET(text) {
  const auto date = orx::platform::dateFromString(text);
  ORX_FUZZ_CHECK(!date || text == orx::platform::stringFromDate(*date));
}
