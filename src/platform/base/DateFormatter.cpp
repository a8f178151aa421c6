#include "platform/base/DateFormatter.h"

#include <array>
#include <cstdio>

#include "platform/base/Text.h"

namespace orx::platform {

namespace {

// 'd' stands for a digit.
constexpr std::string_view kForm = "dddd-dd-ddTdd:dd:dd";

bool hasForm(std::string_view text) {
  if (text.size() != kForm.size()) return false;
  for (std::size_t position = 0; position < text.size(); ++position) {
    const char character = text[position];
    if (kForm[position] == 'd' ? !isDigit(character) : character != kForm[position]) return false;
  }
  return true;
}

int number(std::string_view digits) {
  int value = 0;
  for (const char digit : digits) value = value * 10 + (digit - '0');
  return value;
}

}  // namespace

std::optional<std::chrono::sys_seconds> dateFromString(std::string_view text) {
  using namespace std::chrono;
  if (!hasForm(text)) return std::nullopt;
  const year_month_day date(year(number(text.substr(0, 4))),
                            month(static_cast<unsigned>(number(text.substr(5, 2)))),
                            day(static_cast<unsigned>(number(text.substr(8, 2)))));
  const hours hour(number(text.substr(11, 2)));
  const minutes minute(number(text.substr(14, 2)));
  const seconds second(number(text.substr(17, 2)));
  // The pattern counts the years of an era, and no era has a year 0.
  if (!date.ok() || date.year() == year(0)) return std::nullopt;
  if (hour >= hours(24) || minute >= minutes(60) || second >= seconds(60)) return std::nullopt;
  return sys_days(date) + hour + minute + second;
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
