// SPDX-License-Identifier: MIT
#include "Progress.h"

#include <unistd.h>

#include <chrono>
#include <iostream>
#include <utility>

#include "Printable.h"

namespace tool {
namespace {

std::mutex lineMutex;
std::size_t lineWidth = 0;

// Written over with blanks: not every terminal knows a sequence that removes a line.
void replaceLine(const std::string& line) {
  const std::lock_guard lock(lineMutex);
  if (lineWidth > 0) std::cerr << '\r' << std::string(lineWidth, ' ') << '\r';
  std::cerr << line << std::flush;
  lineWidth = widthOf(line);
}

}  // namespace

Progress::Progress(std::string what) : what_(std::move(what)) {
  if (isatty(STDERR_FILENO) == 1) thread_ = std::thread([this] { show(); });
}

Progress::~Progress() {
  if (!thread_.joinable()) return;
  {
    const std::lock_guard lock(mutex_);
    ended_ = true;
  }
  change_.notify_one();
  thread_.join();
  clear();
}

void Progress::clear() { replaceLine(""); }

void Progress::show() {
  using namespace std::chrono_literals;
  const auto start = std::chrono::steady_clock::now();
  std::unique_lock lock(mutex_);
  for (auto passed = 1s; !change_.wait_until(lock, start + passed, [this] { return ended_; });
       passed += 1s) {
    replaceLine(what_ + " ... " + std::to_string(passed.count()) + " s");
  }
}

}  // namespace tool
