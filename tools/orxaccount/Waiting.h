#pragma once

#include <unistd.h>

#include <chrono>
#include <future>
#include <iostream>
#include <string>

namespace tool {

// Waits for an answer from another thread. After half a second it shows the elapsed seconds, when
// standard error is a terminal.
template <typename Answer>
Answer waitFor(std::future<Answer> answer, const std::string& what) {
  using namespace std::chrono_literals;
  const bool shows = isatty(STDERR_FILENO) == 1;
  const auto start = std::chrono::steady_clock::now();
  bool shown = false;
  while (answer.wait_for(500ms) != std::future_status::ready) {
    if (!shows) continue;
    const auto passed = std::chrono::steady_clock::now() - start;
    std::cerr << '\r' << what << " ... "
              << std::chrono::duration_cast<std::chrono::seconds>(passed).count() << " s"
              << std::flush;
    shown = true;
  }
  if (shown) std::cerr << "\r\033[K" << std::flush;
  return answer.get();
}

}  // namespace tool
