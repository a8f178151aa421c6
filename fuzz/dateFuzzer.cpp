#include <cstdio>
#include <string>

#include "FuzzTarget.h"
#include "platform/base/DateFormatter.h"

// What is read as a date is what the date is written as.
ORX_FUZZ_TARGET(text) {
  using namespace std::chrono;
  const auto date = orx::platform::dateFromString(text);
  if (!date) return;
  const auto midnight = floor<days>(*date);
  const year_month_day day(midnight);
  const hh_mm_ss time(*date - midnight);
  char written[64];
  std::snprintf(written, sizeof written, "%04d-%02u-%02uT%02d:%02d:%02d",
                static_cast<int>(day.year()), static_cast<unsigned>(day.month()),
                static_cast<unsigned>(day.day()), static_cast<int>(time.hours().count()),
                static_cast<int>(time.minutes().count()), static_cast<int>(time.seconds().count()));
  ORX_FUZZ_CHECK(text == written);
}
