#include "platform/process/ForkSafety.h"

#include <pthread.h>

#include <memory>
#include <utility>

namespace orx::platform {
namespace {

struct Held {
  ForkRank rank;
  std::mutex* mutex;  // absent when a fork does not wait for it
  std::function<void()> inChild;
  Held* next;
};

// All of this is ready before any constructor runs and stays until the process is gone.
constinit std::mutex creationMutex;
// Not a recursive mutex: that belongs to a thread by its number, and the child's has another one.
constinit thread_local int creations = 0;
constinit Held* first = nullptr;  // in the order of their ranks; changed during a creation

void beginCreation() {
  if (creations == 0) creationMutex.lock();
  ++creations;
}

void endCreation() {
  --creations;
  if (creations == 0) creationMutex.unlock();
}

void add(ForkRank rank, std::mutex* mutex, std::function<void()> inChild) {
  const Creation creation;
  Held** place = &first;
  while (*place != nullptr && (*place)->rank <= rank) place = &(*place)->next;
  *place = new Held{rank, mutex, std::move(inChild), *place};
}

void prepare() {
  beginCreation();
  for (const Held* held = first; held != nullptr; held = held->next) {
    if (held->mutex != nullptr) held->mutex->lock();
  }
}

void release() {
  for (const Held* held = first; held != nullptr; held = held->next) {
    if (held->mutex != nullptr) held->mutex->unlock();
  }
  endCreation();
}

void releaseInChild() {
  for (const Held* held = first; held != nullptr; held = held->next) {
    if (held->inChild) held->inChild();
  }
  release();
}

[[maybe_unused]] const int registered = pthread_atfork(prepare, release, releaseInChild);

}  // namespace

Creation::Creation() { beginCreation(); }

Creation::~Creation() { endCreation(); }

void holdAcrossFork(ForkRank rank, std::mutex& mutex, std::function<void()> inChild) {
  add(rank, &mutex, std::move(inChild));
}

void freeInChild(std::mutex& mutex) {
  add(ForkRank::brief, nullptr, [&mutex] { std::construct_at(&mutex); });
}

}  // namespace orx::platform
