// SPDX-License-Identifier: MIT
#include "platform/process/ForkSafety.h"

#include <pthread.h>

#include <array>
#include <cassert>
#include <memory>
#include <utility>

namespace orx::platform {

// Ready before any constructor runs, and never destroyed: threads go on while the process ends.
constinit ForkLocks forkLocks;

namespace {

constinit std::atomic<std::uint64_t> forks = 0;
constinit const ForkChildHandler* firstHandler = nullptr;

constinit thread_local bool isInBriefSection = false;

// All but `loading`, which comes first.
constexpr std::array inLockingOrder{&forkLocks.encodings, &forkLocks.transferEngine,
                                    &forkLocks.transferInbox, &forkLocks.workerPool,
                                    &forkLocks.brief};

void lockAll() {
  forkLocks.loading.lock();
  for (std::mutex* mutex : inLockingOrder) mutex->lock();
}

void unlockMutexes() {
  for (std::mutex* mutex : inLockingOrder) mutex->unlock();
}

void continueParent() {
  unlockMutexes();
  forkLocks.loading.unlock();
}

void beginChild() {
  ++forks;
  for (const auto* each = firstHandler; each != nullptr; each = each->next) each->run();
  unlockMutexes();
  // To be unlocked by the thread that has locked it, whose number is another one here.
  std::construct_at(&forkLocks.loading);
}

[[maybe_unused]] const int registered = pthread_atfork(lockAll, continueParent, beginChild);

}  // namespace

BriefSection::BriefSection() {
  [[maybe_unused]] const bool isNested = std::exchange(isInBriefSection, true);
  assert(!isNested);  // It would wait for itself for ever.
  forkLocks.brief.lock();
}

BriefSection::~BriefSection() {
  forkLocks.brief.unlock();
  isInBriefSection = false;
}

std::uint64_t forkCount() { return forks; }

ForkChildHandler::ForkChildHandler(void (*handler)()) : run(handler), next(firstHandler) {
  firstHandler = this;
}

}  // namespace orx::platform
