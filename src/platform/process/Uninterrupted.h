#pragma once

#include <errno.h>

#include "platform/process/BlockedSignals.h"

namespace orx::platform {

// Makes a system call that gives -1 and EINTR when a signal interrupted it again, with the signals
// blocked: a host's signals may come faster than the call can end, so that it never would. An EINTR
// that comes then is the file system's own; one that answers nothing else must not hold up its
// caller for good, so the last one is handed on.
template <typename Call>
auto uninterrupted(const Call& call) {
  auto result = call();
  if (result >= 0 || errno != EINTR) return result;
  const BlockedSignals blocked;
  for (int attempt = 0; result < 0 && errno == EINTR && attempt < 100; ++attempt) result = call();
  return result;
}

}  // namespace orx::platform
