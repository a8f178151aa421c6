// SPDX-License-Identifier: MIT
#pragma once

#include <unistd.h>

#include <cstddef>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

namespace orx::testing {

inline std::size_t threadCount() {
  const std::filesystem::directory_iterator threads("/proc/self/task");
  const auto count = static_cast<std::size_t>(std::distance(begin(threads), end(threads)));
#if defined(__SANITIZE_THREAD__)
  return count - 1;  // the sanitizer's own
#else
  return count;
#endif
}

// Whether every thread of this process but the first one waits for something.
inline bool othersSleep() {
  for (const auto& thread : std::filesystem::directory_iterator("/proc/self/task")) {
    if (thread.path().filename() == std::to_string(getpid())) continue;
    std::ifstream file(thread.path() / "stat");
    std::string line;
    std::getline(file, line);
    // "ID (NAME) STATE ...": S says that it waits.
    if (line.find(") S") == std::string::npos) return false;
  }
  return true;
}

}  // namespace orx::testing
