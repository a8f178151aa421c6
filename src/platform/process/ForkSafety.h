#pragma once

#include <atomic>
#include <functional>
#include <mutex>

namespace orx::platform {

// What a fork waits for, so that the child never finds it locked, or half made, by a thread that it
// does not have. It takes all of it in one order, the one in which code nests it: first the
// creation of process-wide objects, then the mutexes by their ranks. So whoever holds a mutex with
// a rank takes none of a lower one, and does not make the first use of a process-wide object.
enum class ForkRank { transferEngine, transferInbox, queues, workerPool, brief };

// For mutexes that nest, or whose state is begun anew in a child; a mutex that takes no other is a
// ForkSafeMutex. `mutex` is held across each fork() of the process and freed afterwards on both
// sides. `inChild` runs in the child with the mutex held. Both must live as long as the process.
// Once for each mutex, and not while one of them is held.
void holdAcrossFork(ForkRank rank, std::mutex& mutex, std::function<void()> inChild = {});

// A fork does not wait for `mutex`, which must live as long as the process: the child begins with a
// free one.
void freeInChild(std::mutex& mutex);

// Held while a process-wide object is made, by one thread at a time. That thread may begin another
// one meanwhile: making one object may need others.
class Creation {
 public:
  Creation();
  Creation(const Creation&) = delete;
  Creation& operator=(const Creation&) = delete;
  ~Creation();
};

// The object in `slot`, made on first use and never destroyed.
template <typename T, typename Make>
T& processWide(std::atomic<T*>& slot, Make make) {
  if (T* made = slot.load(std::memory_order_acquire)) return *made;
  const Creation creation;
  if (T* made = slot.load(std::memory_order_acquire)) return *made;
  T* object = make();
  slot.store(object, std::memory_order_release);
  return *object;
}

// An object of the whole process, made on first use and never destroyed: calls may be made while
// the process ends. Of static life itself, and `constinit`. It takes the place of a static local
// variable, which a child that is forked in the middle of its making would find being made for
// ever.
template <typename T>
class ProcessWide {
 public:
  // `make` returns the T. Should it throw, the next use makes the object.
  template <typename Make>
  T& get(Make make) {
    return processWide(object_, [&make] { return new T(make()); });
  }
  T& get() {
    return get([] { return T(); });
  }

 private:
  std::atomic<T*> object_ = nullptr;
};

}  // namespace orx::platform
