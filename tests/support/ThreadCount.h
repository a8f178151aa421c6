#pragma once

#include <cstddef>
#include <filesystem>
#include <iterator>

namespace orx::testing {

inline std::size_t threadCount() {
  const std::filesystem::directory_iterator threads("/proc/self/task");
  return static_cast<std::size_t>(std::distance(begin(threads), end(threads)));
}

}  // namespace orx::testing
