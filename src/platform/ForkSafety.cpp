#include "platform/ForkSafety.h"

#include <pthread.h>

#include <utility>

namespace orx {
namespace {

struct Held {
  ForkRank rank;
  std::mutex* mutex;
  std::function<void()> inChild;
  Held* next;
};

// All of this is ready before any constructor runs and stays until the process is gone.
constinit std::mutex creation;
constinit std::mutex listMutex;
constinit Held* first = nullptr;  // in the order of their ranks

void prepare() {
  creation.lock();
  listMutex.lock();
  for (const Held* held = first; held != nullptr; held = held->next) held->mutex->lock();
}

void release() {
  for (const Held* held = first; held != nullptr; held = held->next) held->mutex->unlock();
  listMutex.unlock();
  creation.unlock();
}

void releaseInChild() {
  for (const Held* held = first; held != nullptr; held = held->next) {
    if (held->inChild) held->inChild();
  }
  release();
}

[[maybe_unused]] const int registered = pthread_atfork(prepare, release, releaseInChild);

}  // namespace

void holdAcrossFork(ForkRank rank, std::mutex& mutex, std::function<void()> inChild) {
  const std::lock_guard lock(listMutex);
  Held** place = &first;
  while (*place != nullptr && (*place)->rank <= rank) place = &(*place)->next;
  *place = new Held{rank, &mutex, std::move(inChild), *place};
}

std::mutex& creationMutex() { return creation; }

}  // namespace orx
