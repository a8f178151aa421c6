#pragma once

#include <mutex>

#include "platform/process/ForkSafety.h"

namespace orx::platform {

// A mutex of static life that a forked child never finds locked by a thread it does not have.
class ForkSafeMutex {
 public:
  enum class Section {
    // A few instructions that take no other lock and run no foreign code: fork() waits for them, so
    // the child sees what they guard whole.
    Brief,
    // May wait for storage: fork() does not wait, the child starts with a fresh mutex. What it
    // guards must be usable at every moment.
    Long,
  };

  // Objects of this class are never destroyed: forks know each of them.
  explicit ForkSafeMutex(Section section) {
    if (section == Section::Brief) {
      holdAcrossFork(ForkRank::brief, mutex_);
    } else {
      freeInChild(mutex_);
    }
  }
  ForkSafeMutex(const ForkSafeMutex&) = delete;
  ForkSafeMutex& operator=(const ForkSafeMutex&) = delete;

  void lock() { mutex_.lock(); }
  void unlock() { mutex_.unlock(); }

 private:
  std::mutex mutex_;
};

}  // namespace orx::platform
