// SPDX-License-Identifier: MIT
#pragma once

#include <memory>

#include "platform/storage/FileDescriptor.h"

namespace orx::platform {

struct HeldLock;

// A lock of a file that other processes and other threads respect, held until this object goes or
// the process dies. A child that was forked meanwhile does not share it. StoredDirectory::lock()
// makes it.
class FileLock {
 public:
  // An exclusive lock keeps out every other one, a shared lock only exclusive ones.
  enum class Mode { Exclusive, Shared };

  // Of an open file that is not locked yet.
  explicit FileLock(FileDescriptor descriptor);

  int descriptor() const noexcept;

 private:
  struct Release {
    void operator()(HeldLock* held) const noexcept;
  };

  std::unique_ptr<HeldLock, Release> held_;
};

}  // namespace orx::platform
