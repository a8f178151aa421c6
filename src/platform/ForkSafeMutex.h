#pragma once

#include <pthread.h>

namespace orx {

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

  // Objects of this class are never destroyed: each registers itself with the fork handlers.
  explicit ForkSafeMutex(Section section);
  ForkSafeMutex(const ForkSafeMutex&) = delete;
  ForkSafeMutex& operator=(const ForkSafeMutex&) = delete;

  void lock() { pthread_mutex_lock(&mutex_); }
  void unlock() { pthread_mutex_unlock(&mutex_); }

 private:
  struct Handlers;

  pthread_mutex_t mutex_ = PTHREAD_MUTEX_INITIALIZER;
  Section section_;
  ForkSafeMutex* next_ = nullptr;
};

}  // namespace orx
