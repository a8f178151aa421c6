// SPDX-License-Identifier: MIT
#include <ORXAccount/LogHandler.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <climits>
#include <csignal>
#include <string>
#include <thread>
#include <vector>

#include "platform/process/Log.h"

namespace orx {

using namespace platform;
namespace {

// Redirects the process's standard error into a pipe while it lives.
class StandardErrorPipe {
 public:
  // With O_DIRECT among the flags each write() is one packet, so a test can count the writes.
  explicit StandardErrorPipe(int flags) {
    if (pipe2(ends_.data(), flags) != 0) throw std::runtime_error("pipe2");
    before_ = dup(STDERR_FILENO);
    dup2(ends_[1], STDERR_FILENO);
  }
  StandardErrorPipe(const StandardErrorPipe&) = delete;
  StandardErrorPipe& operator=(const StandardErrorPipe&) = delete;
  ~StandardErrorPipe() {
    dup2(before_, STDERR_FILENO);
    close(before_);
    close(ends_[1]);
    closeReader();
  }

  void closeReader() {
    if (ends_[0] >= 0) close(ends_[0]);
    ends_[0] = -1;
  }

  std::string readOnce() const {
    std::array<char, 8192> bytes{};
    const ssize_t size = read(ends_[0], bytes.data(), bytes.size());
    return {bytes.data(), size > 0 ? static_cast<std::size_t>(size) : 0};
  }

 private:
  std::array<int, 2> ends_{-1, -1};
  int before_ = -1;
};

TEST(Log, WritesTheLineUnchangedInOnePiece) {
  const StandardErrorPipe standardError(O_DIRECT);
  NSLog("[OrvaAccount] \u00E9 %@ 100% \t end");
  NSLog("");
  EXPECT_EQ(standardError.readOnce(), "[OrvaAccount] \u00E9 %@ 100% \t end\n");
  EXPECT_EQ(standardError.readOnce(), "\n");
}

TEST(Log, WritesControlCharactersOutSoThatNoTextSteersATerminal) {
  const StandardErrorPipe standardError(O_DIRECT);
  NSLog("a\x1b[2Jb\rc\x7f");
  EXPECT_EQ(standardError.readOnce(), "a\\x1b[2Jb\\x0dc\\x7f\n");
}

TEST(Log, WritesOutWhateverElseSteersATerminalAndWhatIsNotUTF8) {
  const StandardErrorPipe standardError(O_DIRECT);
  NSLog("\u0085 \u009b \u061c \u200e \u2028 \u202e \u2066 \u2069");
  NSLog("a\x9b\xff\u4e2d");
  EXPECT_EQ(standardError.readOnce(),
            "\\u0085 \\u009b \\u061c \\u200e \\u2028 \\u202e \\u2066 \\u2069\n");
  EXPECT_EQ(standardError.readOnce(), "a\\x9b\\xff\u4e2d\n");
}

TEST(Log, CutsALongLineBetweenCharactersAndSaysSo) {
  const StandardErrorPipe standardError(O_DIRECT | O_NONBLOCK);
  std::string line;
  for (int i = 0; i < 1'000'000; ++i) line += "\u4e2d";
  NSLog(line);
  NSLog(std::string(1'000'000, '\x1b'));
  for (int i = 0; i < 2; ++i) {
    const std::string written = standardError.readOnce();
    EXPECT_LE(written.size(), static_cast<std::size_t>(PIPE_BUF));
    EXPECT_TRUE(written.ends_with(i == 0 ? "\u4e2d... (cut, 3000000 bytes)\n"
                                         : "\\x1b... (cut, 1000000 bytes)\n"))
        << written;
  }
}

TEST(Log, KeepsLineFeedsFromForgingARecord) {
  const StandardErrorPipe standardError(O_DIRECT);
  NSLog("said: ok\n[OrvaAccount] forged\n");
  EXPECT_EQ(standardError.readOnce(), "said: ok\\n[OrvaAccount] forged\\n\n");
}

TEST(Log, KeepsLinesOfSeveralThreadsWhole) {
  const StandardErrorPipe standardError(O_DIRECT);
  constexpr int count = 10;
  std::vector<std::thread> threads;
  for (const char letter : {'a', 'b', 'c', 'd'}) {
    threads.emplace_back([letter] {
      for (int line = 0; line < count; ++line) NSLog(std::string(100, letter));
    });
  }
  for (int line = 0; line < 4 * count; ++line) {
    const std::string written = standardError.readOnce();
    EXPECT_EQ(written.size(), 101U);
    EXPECT_EQ(written, std::string(100, written[0]) + "\n");
  }
  for (std::thread& thread : threads) thread.join();
}

TEST(Log, OutlivesAStandardErrorThatNobodyReads) {
  signal(SIGPIPE, SIG_DFL);
  StandardErrorPipe standardError(0);
  standardError.closeReader();
  errno = 42;
  NSLog("into the void");
  EXPECT_EQ(errno, 42);
  sigset_t pending;
  sigpending(&pending);
  EXPECT_EQ(sigismember(&pending, SIGPIPE), 0) << "the signal waits for whoever unblocks it next";
}

TEST(Log, OutlivesAFullOrClosedStandardError) {
  {
    const StandardErrorPipe standardError(O_NONBLOCK);
    // More than a pipe holds.
    for (int i = 0; i < 30; ++i) NSLog(std::string(4000, 'x'));
  }
  const int before = dup(STDERR_FILENO);
  close(STDERR_FILENO);
  NSLog("nowhere to go");
  dup2(before, STDERR_FILENO);
  close(before);
}

class LogHandlerTest : public ::testing::Test {
 protected:
  ~LogHandlerTest() override { setLogHandler({}); }
};

TEST_F(LogHandlerTest, GetsTheLineWrittenOutAndCut) {
  std::vector<std::string> lines;
  setLogHandler([&](LogLevel level, std::string_view line) {
    EXPECT_EQ(level, LogLevel::Error);
    lines.emplace_back(line);
    errno = 7;
  });
  errno = 42;
  tellLogHandler(LogLevel::Error, "a\x1b[2J\nb");
  EXPECT_EQ(errno, 42);
  tellLogHandler(LogLevel::Error, std::string(1'000'000, 'x'));
  ASSERT_EQ(lines.size(), 2U);
  EXPECT_EQ(lines[0], "a\\x1b[2J\\nb");
  EXPECT_TRUE(lines[1].ends_with("... (cut, 1000000 bytes)"));
  EXPECT_LT(lines[1].size(), static_cast<std::size_t>(PIPE_BUF));
}

TEST_F(LogHandlerTest, IsAbsentUntilItIsSetAndAfterItIsTakenAway) {
  const StandardErrorPipe standardError(O_DIRECT | O_NONBLOCK);
  int calls = 0;
  EXPECT_FALSE(hasLogHandler());
  tellLogHandler(LogLevel::Info, "nobody hears");
  setLogHandler([&](LogLevel, std::string_view) { ++calls; });
  EXPECT_TRUE(hasLogHandler());
  tellLogHandler(LogLevel::Info, "heard");
  setLogHandler({});
  EXPECT_FALSE(hasLogHandler());
  tellLogHandler(LogLevel::Info, "nobody hears");
  EXPECT_EQ(calls, 1);
  EXPECT_EQ(standardError.readOnce(), "");
}

TEST_F(LogHandlerTest, MayTakeItselfAwayAndLog) {
  int calls = 0;
  setLogHandler([&](LogLevel, std::string_view) {
    ++calls;
    setLogHandler({});
    tellLogHandler(LogLevel::Info, "nobody hears");
  });
  tellLogHandler(LogLevel::Info, "heard");
  EXPECT_EQ(calls, 1);
}

}  // namespace
}  // namespace orx
