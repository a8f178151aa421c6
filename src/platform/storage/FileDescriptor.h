// SPDX-License-Identifier: MIT
#pragma once

#include <unistd.h>

#include <utility>

namespace orx::platform {

// Owns one file descriptor and closes it. Empty holds -1.
class FileDescriptor {
 public:
  FileDescriptor() noexcept = default;
  explicit FileDescriptor(int descriptor) noexcept : descriptor_(descriptor) {}
  FileDescriptor(FileDescriptor&& other) noexcept
      : descriptor_(std::exchange(other.descriptor_, -1)) {}
  FileDescriptor& operator=(FileDescriptor&& other) noexcept {
    std::swap(descriptor_, other.descriptor_);
    return *this;
  }
  ~FileDescriptor() {
    if (descriptor_ >= 0) ::close(descriptor_);
  }

  int get() const noexcept { return descriptor_; }
  explicit operator bool() const noexcept { return descriptor_ >= 0; }
  // Hands it to somebody who closes it.
  int release() noexcept { return std::exchange(descriptor_, -1); }
  // Closes now and says whether that went well: some file systems report a failed write only here.
  bool close() noexcept { return ::close(release()) == 0; }

 private:
  int descriptor_ = -1;
};

}  // namespace orx::platform
