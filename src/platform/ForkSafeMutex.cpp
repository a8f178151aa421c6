#include "platform/ForkSafeMutex.h"

namespace orx {

struct ForkSafeMutex::Handlers {
  // Plain globals, ready before any constructor runs.
  static inline pthread_mutex_t listMutex = PTHREAD_MUTEX_INITIALIZER;
  static inline ForkSafeMutex* first = nullptr;

  static void add(ForkSafeMutex* mutex) {
    static pthread_once_t once = PTHREAD_ONCE_INIT;
    pthread_once(&once, [] { pthread_atfork(prepare, parent, child); });
    pthread_mutex_lock(&listMutex);
    mutex->next_ = first;
    first = mutex;
    pthread_mutex_unlock(&listMutex);
  }

  static void prepare() {
    pthread_mutex_lock(&listMutex);
    for (auto* mutex = first; mutex != nullptr; mutex = mutex->next_) {
      if (mutex->section_ == Section::Brief) mutex->lock();
    }
  }

  static void parent() {
    for (auto* mutex = first; mutex != nullptr; mutex = mutex->next_) {
      if (mutex->section_ == Section::Brief) mutex->unlock();
    }
    pthread_mutex_unlock(&listMutex);
  }

  static void child() {
    for (auto* mutex = first; mutex != nullptr; mutex = mutex->next_) {
      if (mutex->section_ == Section::Brief) {
        mutex->unlock();
      } else {
        mutex->mutex_ = PTHREAD_MUTEX_INITIALIZER;
      }
    }
    pthread_mutex_unlock(&listMutex);
  }
};

ForkSafeMutex::ForkSafeMutex(Section section) : section_(section) { Handlers::add(this); }

}  // namespace orx
