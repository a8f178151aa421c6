#include "platform/base/DateFormatter.h"

namespace orx::platform {

namespace {

// 'd' stands for a digit.
constexpr std::string_view kForm = "dddd-dd-ddTdd:dd:dd";

bool hasForm(std::string_view text) {
  if (text.size() != kForm.size()) return false;
  for (std::size_t position = 0; position < text.size(); ++position) {
    const char character = text[position];
    const bool digit = character >= '0' && character <= '9';
    if (kForm[position] == 'd' ? !digit : character != kForm[position]) return false;
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

}  // namespace orx::platform
