#include <gtest/gtest.h>

#include <array>

#include "platform/http/curl/IdleTimeouts.h"
#include "platform/http/curl/Transfer.h"

namespace orx {

using namespace platform;
namespace {

using std::chrono::hours;
using std::chrono::milliseconds;

constexpr milliseconds none{0};

// Transfers that are never started, and where they stand.
class IdleTimeoutsTest : public ::testing::Test {
 protected:
  static Transfer transfer() {
    return {{*URL::URLWithString("https://one.example/"), {}, {}},
            std::make_shared<URLSessionConfiguration>(),
            {}};
  }

  void add(std::size_t index, milliseconds limit) {
    timeouts_.add(transfers_[index], places_[index], limit);
  }

  std::array<Transfer, 3> transfers_{transfer(), transfer(), transfer()};
  std::array<IdleTimeouts::Place, 3> places_;
  IdleTimeouts timeouts_;
};

TEST_F(IdleTimeoutsTest, NameWhoeverWasIdleForItsOwnLimit) {
  add(0, hours(1));
  add(1, none);
  EXPECT_EQ(timeouts_.overdue(), &transfers_[1]);
  EXPECT_EQ(timeouts_.timeUntilNext(), none);
  timeouts_.remove(places_[1]);
  EXPECT_EQ(timeouts_.overdue(), nullptr);
  EXPECT_EQ(timeouts_.timeUntilNext(), hours(1));
  timeouts_.remove(places_[0]);
  EXPECT_EQ(timeouts_.timeUntilNext(), std::nullopt);
}

TEST_F(IdleTimeoutsTest, NameTheOneFirstThatIsIdleTheLongest) {
  for (std::size_t index = 0; index < 3; ++index) add(index, none);
  // The clock always goes on.
  timeouts_.updateNow();
  timeouts_.noteProgress(places_[0]);
  EXPECT_EQ(timeouts_.overdue(), &transfers_[1]);
  timeouts_.remove(places_[1]);
  EXPECT_EQ(timeouts_.overdue(), &transfers_[2]);
  timeouts_.remove(places_[2]);
  EXPECT_EQ(timeouts_.overdue(), &transfers_[0]);
}

TEST_F(IdleTimeoutsTest, TakeATransferAgainUnderAnotherLimit) {
  add(0, none);
  timeouts_.remove(places_[0]);
  // It stands nowhere.
  timeouts_.noteProgress(places_[0]);
  timeouts_.remove(places_[0]);
  EXPECT_EQ(timeouts_.overdue(), nullptr);
  add(0, hours(2));
  EXPECT_EQ(timeouts_.overdue(), nullptr);
  EXPECT_EQ(timeouts_.timeUntilNext(), hours(2));
}

}  // namespace
}  // namespace orx
