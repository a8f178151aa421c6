// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

#include "platform/base/DateFormatter.h"

namespace orx {

using namespace platform;
namespace {

using std::chrono::hours;
using std::chrono::sys_days;
using namespace std::chrono_literals;

TEST(DateFormatter, ReadsTheInstantInUTC) {
  EXPECT_EQ(dateFromString("1985-07-14T08:30:00"), sys_days(1985y / 7 / 14) + 8h + 30min);
  EXPECT_EQ(dateFromString("1970-01-01T00:00:01"), std::chrono::sys_seconds(1s));
  EXPECT_EQ(dateFromString("1969-12-31T23:59:59"), std::chrono::sys_seconds(-1s));
  EXPECT_EQ(dateFromString("0001-01-01T00:00:00"), sys_days(1y / 1 / 1));
  EXPECT_EQ(dateFromString("9999-12-31T23:59:59"), sys_days(9999y / 12 / 31) + 24h - 1s);
}

TEST(DateFormatter, DoesNotDependOnTheTimeZoneOfTheProcess) {
  setenv("TZ", "Asia/Taipei", 1);
  tzset();
  EXPECT_EQ(dateFromString("1985-07-14T08:30:00"), sys_days(1985y / 7 / 14) + 8h + 30min);
}

TEST(DateFormatter, KnowsLeapYears) {
  EXPECT_TRUE(dateFromString("2000-02-29T00:00:00"));
  EXPECT_TRUE(dateFromString("2024-02-29T00:00:00"));
  EXPECT_FALSE(dateFromString("1900-02-29T00:00:00"));
  EXPECT_FALSE(dateFromString("2023-02-29T00:00:00"));
  EXPECT_FALSE(dateFromString("2024-02-30T00:00:00"));
}

TEST(DateFormatter, RefusesWhatNoCalendarOrClockHas) {
  for (const char* text : {"1985-04-31T00:00:00", "1985-00-10T00:00:00", "1985-13-10T00:00:00",
                           "1985-01-00T00:00:00", "1985-01-32T00:00:00", "0000-01-01T00:00:00",
                           "1985-07-14T24:00:00", "1985-07-14T08:60:00", "1985-06-30T23:59:60"}) {
    EXPECT_FALSE(dateFromString(text)) << text;
  }
}

TEST(DateFormatter, RefusesEveryOtherForm) {
  for (const char* text : {"",
                           "1985-07-14",
                           "1985-07-14T08:30",
                           "1985-07-14T08:30:00Z",
                           "1985-07-14T08:30:00.5",
                           "1985-07-14T08:30:00+02:00",
                           " 1985-07-14T08:30:00",
                           "1985-07-14T08:30:00 ",
                           "1985-07-14T08:30:00\n",
                           "1985-07-14 08:30:00",
                           "1985-07-14t08:30:00",
                           "1985-7-14T08:30:00",
                           "1985-07-14T8:30:00",
                           "85-07-14T08:30:00",
                           "19850-07-14T08:30:00",
                           "+985-07-14T08:30:00",
                           "-985-07-14T08:30:00",
                           "1985-+7-14T08:30:00",
                           "1985/07/14T08:30:00",
                           "1985-07-14T08:30: 0",
                           "1985-07-14T'08:30:00"}) {
    EXPECT_FALSE(dateFromString(text)) << text;
  }
  using namespace std::string_view_literals;
  EXPECT_FALSE(dateFromString("1985-07-14T08:30:00\0"sv));
}

TEST(DateFormatter, RefusesADateCutAnywhere) {
  const std::string whole = "1985-07-14T08:30:00";
  for (std::size_t size = 0; size < whole.size(); ++size) {
    EXPECT_FALSE(dateFromString(whole.substr(0, size))) << size;
  }
}

TEST(DateFormatter, WritesWhatItReads) {
  for (const char* text : {"0001-01-01T00:00:00", "1969-12-31T23:59:59", "2024-02-29T12:00:00",
                           "9999-12-31T23:59:59"}) {
    EXPECT_EQ(stringFromDate(dateFromString(text).value()), text);
  }
}

}  // namespace
}  // namespace orx
