#pragma once

#include <utility>

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
  ~FileLock();

 private:
  FileDescriptor descriptor_;
};

}  // namespace orx::platform
