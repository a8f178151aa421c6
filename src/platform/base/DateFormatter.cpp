// SPDX-License-Identifier: MIT
#include "platform/base/DateFormatter.h"

#include <array>
#include <charconv>
#include <cstdio>

namespace orx::platform {

namespace {

// The number that the text begins with; 0 when it begins with none.
int number(std::string_view text) {
  int value = 0;
  std::from_chars(text.data(), text.data() + text.size(), value);
  return value;
}

}  // namespace

std::optional<std::chrono::sys_seconds> dateFromString(std::string_view text) {
  using namespace std::chrono;
  if (text.size() != std::string_view("yyyy-MM-ddTHH:mm:ss").size()) return std::nullopt;
  const year_month_day date(year(number(text.substr(0, 4))),
                            month(static_cast<unsigned>(number(text.substr(5, 2)))),
                            day(static_cast<unsigned>(number(text.substr(8, 2)))));
  // The pattern counts the years of an era: none has a year 0, and none is below it.
  if (!date.ok() || date.year() < year(1)) return std::nullopt;
  const sys_seconds instant = sys_days(date) + hours(number(text.substr(11, 2))) +
                              minutes(number(text.substr(14, 2))) +
                              seconds(number(text.substr(17, 2)));
  // Whatever is not exactly of the form (a sign, a blank, an hour 24, another separator) is written
  // in another way than it was read.
  return stringFromDate(instant) == text ? std::optional(instant) : std::nullopt;
}

std::string stringFromDate(std::chrono::sys_seconds date) {
  using namespace std::chrono;
  const auto midnight = floor<days>(date);
  const year_month_day day(midnight);
  const hh_mm_ss time(date - midnight);
  std::array<char, 32> text{};
  std::snprintf(text.data(), text.size(), "%04d-%02u-%02uT%02d:%02d:%02d",
                static_cast<int>(day.year()), static_cast<unsigned>(day.month()),
                static_cast<unsigned>(day.day()), static_cast<int>(time.hours().count()),
                static_cast<int>(time.minutes().count()), static_cast<int>(time.seconds().count()));
  return text.data();
}

}  // namespace orx::platform
