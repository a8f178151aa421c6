#pragma once

#include <atomic>
#include <functional>
#include <mutex>

namespace orx {

// The order in which mutexes are taken before a fork: that in which code nests them.
enum class ForkRank { transferEngine, transferInbox, queues, workerPool };

// For mutexes that nest, or whose state is begun anew in a child; a mutex that takes no other is a
// ForkSafeMutex. Takes `mutex` before each fork() of the process and frees it afterwards on both
// sides, so that the child never finds it locked by a thread that it does not have. `inChild` runs
// in the child with the mutex held. Both must live as long as the process. Once for each mutex, and
// not while one of them is held: a fork would wait for it.
void holdAcrossFork(ForkRank rank, std::mutex& mutex, std::function<void()> inChild = {});

// Held while a process-wide object is made: a fork waits for that, where it would otherwise leave
// the child with an object that is forever being made.
std::mutex& creationMutex();

// The object in `slot`, made on first use and never destroyed. Making it must not need another one
// that is made this way.
template <typename T, typename Make>
T& processWide(std::atomic<T*>& slot, Make make) {
  if (T* made = slot.load(std::memory_order_acquire)) return *made;
  const std::lock_guard lock(creationMutex());
  if (T* made = slot.load(std::memory_order_acquire)) return *made;
  T* object = make();
  slot.store(object, std::memory_order_release);
  return *object;
}

}  // namespace orx
