#pragma once

#include <sys/file.h>

#include <utility>

#include "platform/process/Signals.h"
#include "platform/storage/FileDescriptor.h"

namespace orx::platform {

// An exclusive lock that other processes and other threads respect, held until this object goes or
// the process dies. StoredDirectory::lock() makes it.
class FileLock {
 public:
  // Of a file that is locked already.
  explicit FileLock(FileDescriptor descriptor) noexcept : descriptor_(std::move(descriptor)) {}
  FileLock(FileLock&&) noexcept = default;
  FileLock& operator=(FileLock&&) = delete;
  // Unlocks before it closes: a child that was forked meanwhile shares the open file, and closing
  // alone would leave the lock with the child.
  ~FileLock() {
    if (descriptor_) uninterrupted([&] { return flock(descriptor_.get(), LOCK_UN); });
  }

 private:
  FileDescriptor descriptor_;
};

}  // namespace orx::platform
