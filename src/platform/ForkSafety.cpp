#include "platform/ForkSafety.h"

#include <pthread.h>

#include <map>
#include <utility>

namespace orx {
namespace {

struct Held {
  std::mutex* mutex;
  std::function<void()> inChild;
};

struct Registry {
  std::mutex mutex;
  std::multimap<ForkRank, Held> held;
};

Registry& registry();

void prepare() {
  registry().mutex.lock();
  for (const auto& [rank, held] : registry().held) held.mutex->lock();
}

void releaseAll() {
  for (auto each = registry().held.rbegin(); each != registry().held.rend(); ++each) {
    each->second.mutex->unlock();
  }
  registry().mutex.unlock();
}

void releaseInChild() {
  for (const auto& [rank, held] : registry().held) {
    if (held.inChild) held.inChild();
  }
  releaseAll();
}

// Never destroyed: a fork may come while the process ends.
Registry& registry() {
  static Registry& shared = *[] {
    auto* made = new Registry;
    pthread_atfork(prepare, releaseAll, releaseInChild);
    return made;
  }();
  return shared;
}

}  // namespace

void holdAcrossFork(ForkRank rank, std::mutex& mutex, std::function<void()> inChild) {
  const std::lock_guard lock(registry().mutex);
  registry().held.emplace(rank, Held{&mutex, std::move(inChild)});
}

}  // namespace orx
