#include <gtest/gtest.h>

#include <array>

#include "platform/http/curl/ProgressWatch.h"

namespace orx {

using namespace platform;
namespace {

using std::chrono::hours;
using std::chrono::milliseconds;

constexpr milliseconds none{0};

TEST(ProgressWatch, NamesWhoeverWasQuietForItsOwnLimit) {
  ProgressWatch watch;
  std::array<ProgressWatch::Watched, 2> watched;
  watch.add(watched[0], hours(1));
  watch.add(watched[1], none);
  EXPECT_EQ(watch.overdue(), &watched[1]);
  EXPECT_EQ(watch.quietTime(), none);
  watch.remove(watched[1]);
  EXPECT_EQ(watch.overdue(), nullptr);
  EXPECT_EQ(watch.quietTime(), hours(1));
  watch.remove(watched[0]);
  EXPECT_EQ(watch.quietTime(), std::nullopt);
}

TEST(ProgressWatch, NamesTheOneFirstThatIsQuietTheLongest) {
  ProgressWatch watch;
  std::array<ProgressWatch::Watched, 3> watched;
  for (auto& each : watched) watch.add(each, none);
  // Time is taken once a turn, and it always goes on.
  watch.beginTurn();
  watch.noteProgress(watched[0]);
  EXPECT_EQ(watch.overdue(), &watched[1]);
  watch.remove(watched[1]);
  EXPECT_EQ(watch.overdue(), &watched[2]);
  watch.remove(watched[2]);
  EXPECT_EQ(watch.overdue(), &watched[0]);
}

TEST(ProgressWatch, WatchesAgainUnderAnotherLimit) {
  ProgressWatch watch;
  ProgressWatch::Watched watched;
  watch.add(watched, none);
  watch.remove(watched);
  // Nobody any more.
  watch.noteProgress(watched);
  watch.remove(watched);
  EXPECT_EQ(watch.overdue(), nullptr);
  watch.add(watched, hours(2));
  EXPECT_EQ(watch.overdue(), nullptr);
  EXPECT_EQ(watch.quietTime(), hours(2));
}

}  // namespace
}  // namespace orx
