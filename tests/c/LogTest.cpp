// SPDX-License-Identifier: MIT
#include <ORXAccount/LogHandler.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <string>

#include "allocations/FailingAllocation.h"
#include "c/CHost.h"
#include "platform/process/Log.h"

namespace orx {
namespace {

using namespace orx::testing;

struct Logged {
  Mailbox<std::pair<int, std::string>> lines;
  std::atomic<int> ended = 0;
};

void put(void* context, int level, const char* line) {
  static_cast<Logged*>(context)->lines.put({level, line});
}

void end(void* context) { ++static_cast<Logged*>(context)->ended; }

class CLog : public CHost {};

TEST_F(CLog, TellsWhyATransferFailed) {
  Logged logged;
  ASSERT_EQ(refusal(orx_set_log_handler(put, &logged, end)), 0);
  EXPECT_EQ(refusal(orx_set_option(ORX_OPTION_CA_FILE, "/nowhere")), 0);
  told([](auto callback, void* context) { return orx_call("w1", nullptr, callback, context); });
  const auto [level, line] = logged.lines.take();
  EXPECT_EQ(level, ORX_LOG_WARNING);
  EXPECT_NE(line.find(kGlobalHost), std::string::npos) << line;
  EXPECT_EQ(refusal(orx_set_log_handler(nullptr, nullptr, nullptr)), 0);
  EXPECT_EQ(logged.ended, 1);
}

TEST(CLogHandler, IsLetGoOnceWhenAnotherTakesItsPlace) {
  Logged first;
  Logged second;
  ASSERT_EQ(refusal(orx_set_log_handler(put, &first, end)), 0);
  ASSERT_EQ(refusal(orx_set_log_handler(put, &second, nullptr)), 0);
  EXPECT_EQ(first.ended, 1);
  platform::tellLogHandler(LogLevel::Error, "line");
  EXPECT_EQ(first.lines.count(), 0U);
  EXPECT_EQ(second.lines.take(), (std::pair<int, std::string>(ORX_LOG_ERROR, "line")));
  EXPECT_EQ(refusal(orx_set_log_handler(nullptr, nullptr, nullptr)), 0);
}

TEST(CLogHandler, GetsLongLinesWhole) {
  Logged logged;
  ASSERT_EQ(refusal(orx_set_log_handler(put, &logged, nullptr)), 0);
  platform::tellLogHandler(LogLevel::Info, std::string(100'000, 'x'));
  const auto [level, line] = logged.lines.take();
  EXPECT_EQ(level, ORX_LOG_INFO);
  EXPECT_TRUE(line.ends_with("... (cut, 100000 bytes)")) << line.size();
  EXPECT_EQ(refusal(orx_set_log_handler(nullptr, nullptr, nullptr)), 0);
}

TEST(CLogHandler, WithoutMemoryIsSetOrLeavesTheContextToTheCaller) {
  Logged logged;
  for (std::size_t number = 0;; ++number) {
    orx_error* error = nullptr;
    const auto [threw, hasFailed] =
        withFailingAllocation(number, [&] { error = orx_set_log_handler(put, &logged, end); });
    EXPECT_FALSE(threw);
    EXPECT_EQ(refusal(error), hasFailed ? ENOMEM : 0) << number;
    EXPECT_EQ(logged.ended, 0);
    if (!hasFailed || HasFailure()) break;
  }
  EXPECT_EQ(refusal(orx_set_log_handler(nullptr, nullptr, nullptr)), 0);
  EXPECT_EQ(logged.ended, 1);
}

}  // namespace
}  // namespace orx
