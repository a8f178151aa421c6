#pragma once

#include <errno.h>

namespace orx {

// Makes a system call again when a signal interrupted it. Not for ever: a file system that answers
// nothing else must not hold up its caller for good, so the last EINTR is handed on.
template <typename Call>
auto uninterrupted(const Call& call) {
  auto result = call();
  for (int attempt = 1; result < 0 && errno == EINTR && attempt < 100; ++attempt) result = call();
  return result;
}

}  // namespace orx
