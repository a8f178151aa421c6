#include "platform/storage/FileLock.h"

#include <sys/file.h>

#include "platform/process/Signals.h"

namespace orx::platform {

// Unlocks before it closes: a child that was forked meanwhile shares the open file, and closing
// alone would leave the lock with the child.
FileLock::~FileLock() {
  if (descriptor_) uninterrupted([&] { return flock(descriptor_.get(), LOCK_UN); });
}

}  // namespace orx::platform
