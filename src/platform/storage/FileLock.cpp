// SPDX-License-Identifier: MIT
#include "platform/storage/FileLock.h"

#include <sys/file.h>

#include <utility>

#include "platform/process/ForkSafety.h"
#include "platform/process/Signals.h"

namespace orx::platform {

struct HeldLock {
  FileDescriptor descriptor;
  HeldLock* next = nullptr;
};

namespace {

// All of the process. Under BriefSection.
constinit HeldLock* firstHeld = nullptr;

// A child shares the open files, and flock()'s locks belong to these: one that the child left open
// would stay locked for as long as the child lives, should the parent die before it unlocks.
const ForkChildHandler closeInChild([] {
  for (auto* each = firstHeld; each != nullptr; each = each->next) {
    each->descriptor = FileDescriptor();
  }
});

}  // namespace

FileLock::FileLock(FileDescriptor descriptor)
    : held_(new HeldLock{.descriptor = std::move(descriptor)}) {
  const BriefSection section;
  held_->next = std::exchange(firstHeld, held_.get());
}

int FileLock::descriptor() const noexcept { return held_->descriptor.get(); }

void FileLock::Release::operator()(HeldLock* held) const noexcept {
  {
    const BriefSection section;
    auto** link = &firstHeld;
    while (*link != held) link = &(*link)->next;
    *link = held->next;
  }
  // Unlocks before it closes: a child that was forked before the file was listed here keeps it
  // open. In the child itself there is nothing to unlock.
  const int descriptor = held->descriptor.get();
  if (descriptor >= 0) uninterrupted([&] { return flock(descriptor, LOCK_UN); });
  delete held;
}

}  // namespace orx::platform
