// SPDX-License-Identifier: MIT
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <shared_mutex>
#include <utility>

// fork() copies one thread only. A mutex that another thread holds at that moment stays locked in
// the child for ever, and an object that another thread is making stays half made. So the library
//   - makes its process-wide objects without a lock (ProcessWide),
//   - guards short accesses with one mutex for all of them (BriefSection),
//   - has five more mutexes that nest (forkLocks), and
//   - lets a fork wait until all six are free.
namespace orx::platform {

// The mutexes that fork() waits for and hands to the child unlocked. A thread that holds one may
// lock only those that stand below it; fork() locks them in the same order.
struct ForkLocks {
  // While libcurl is loaded, which may take long: first, so that a fork that waits for it holds
  // none of the others. Shared by all threads that load: one of them may be in a constructor of a
  // plug-in that is being loaded, for which the dynamic linker lets the others wait.
  std::shared_mutex loading;
  std::mutex encodings;       // while iconv, which has locks of its own, loads or lets go
  std::mutex transferEngine;  // while libcurl works
  std::mutex transferInbox;
  std::mutex workerPool;
  std::mutex brief;  // of BriefSection, and used nowhere else
};
extern constinit ForkLocks forkLocks;

// Guards a few instructions on shared state: a copy, a swap, an append. All such sections of the
// process exclude each other, so one must neither wait, nor contain another one, nor run foreign
// code (callbacks, destructors of a host's objects): swap the old value out and let it go after the
// section. The first use of a ProcessWide object comes before the section too.
class BriefSection {
 public:
  BriefSection();
  BriefSection(const BriefSection&) = delete;
  BriefSection& operator=(const BriefSection&) = delete;
  ~BriefSection();
};

// A value that any thread may read and replace; each access is a brief section of its own. A value
// that is replaced is destroyed after the section, so it may hold foreign code; copying T must not
// run any.
template <typename T>
class Guarded {
 public:
  Guarded() = default;
  explicit Guarded(T value) : value_(std::move(value)) {}

  T get() const {
    const BriefSection section;
    return value_;
  }
  // Puts the value in place and returns the one that stood there.
  T exchange(T value) {
    const BriefSection section;
    std::swap(value_, value);
    return value;
  }
  void set(T value) { exchange(std::move(value)); }

 private:
  T value_{};
};

// How many forks lie between the first process and this one. State that belongs to the threads of
// one process remembers the count under which it was made.
std::uint64_t forkCount();

// Makes `handler` run in the child of each fork(), before the child has a second thread and while
// it holds all of forkLocks. Only as an object of namespace scope, which is made before main.
struct ForkChildHandler {
  explicit ForkChildHandler(void (*handler)());

  void (*const run)();
  const ForkChildHandler* const next;
};

// An object of the whole process, made by its first use and never destroyed: calls may still be
// made while the process ends. Use it, with `constinit`, instead of a function-local static: if
// another thread is inside the initialiser of one during fork(), the child waits on its guard for
// ever.
template <typename T>
class ProcessWide {
 public:
  // The object that `make` returns. Two threads may make one at the same time; the slower one's is
  // destroyed and nobody sees it. When `make` throws, the next use tries again.
  template <typename Make>
  T& get(Make make) {
    if (T* present = object_.load(std::memory_order_acquire)) return *present;
    auto made = std::unique_ptr<T>(new T(make()));
    T* present = nullptr;
    if (!object_.compare_exchange_strong(present, made.get(), std::memory_order_acq_rel)) {
      return *present;
    }
    return *made.release();
  }
  T& get() {
    return get([] { return T(); });
  }

 private:
  std::atomic<T*> object_ = nullptr;
};

}  // namespace orx::platform
