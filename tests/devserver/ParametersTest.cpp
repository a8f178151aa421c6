// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <algorithm>
#include <ctime>

#include "devserver/Parameters.h"

namespace orx::testing {
namespace {

using orx::devserver::Parameters;

TEST(Parameters, OfSeveralCasesOfANameKeepOne) {
  const auto parameters = Parameters::parse(R"({"Ticket":"a","ticket":"b","n":1.50})");
  ASSERT_TRUE(parameters);
  EXPECT_EQ(parameters->get("TICKET"), "b");
  EXPECT_EQ(parameters->get("n"), "1.5");
}

// The processor time of this thread, so that other processes do not disturb the measurement.
double secondsFor(const std::string& json) {
  const auto now = [] {
    timespec time{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) / 1e9;
  };
  double best = 1e9;
  for (int i = 0; i < 3; ++i) {
    const double start = now();
    EXPECT_TRUE(Parameters::parse(json));
    best = std::min(best, now() - start);
  }
  return best;
}

std::string objectOf(int members) {
  std::string json = "{";
  for (int i = 0; i < members; ++i) json += "\"name" + std::to_string(i) + "\":1,";
  return json + "\"end\":1}";
}

TEST(Parameters, TakeATimeInProportionToTheirNumber) {
  constexpr int members = 2'000;
  EXPECT_LT(secondsFor(objectOf(4 * members)), 7 * secondsFor(objectOf(members)));
}

}  // namespace
}  // namespace orx::testing
