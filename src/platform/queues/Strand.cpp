#include "platform/queues/Strand.h"

#include <atomic>
#include <cstdint>
#include <list>
#include <utility>

#include "platform/process/ForkSafety.h"
#include "platform/queues/WorkerPool.h"

namespace orx::platform {
namespace {

// One for all queues, held for the length of a list operation: a fork could not take care of a
// mutex in every queue.
std::mutex& mutex() {
  static constinit std::atomic<std::mutex*> slot = nullptr;
  return processWide(slot, [] {
    auto* made = new std::mutex;
    holdAcrossFork(ForkRank::queues, *made);
    return made;
  });
}

// Made before main, so that no first use of it comes while another mutex is held.
[[maybe_unused]] const std::mutex& madeEarly = mutex();

}  // namespace

struct Strand::State : std::enable_shared_from_this<State> {
  // One of the two is set.
  struct Entry {
    std::unique_ptr<Job> job;
    std::function<void(Finish)> finishing;
  };

  // Registers the mutex before anything is held.
  explicit State(std::size_t limit) : width(limit) { mutex(); }
  State(const State&) = delete;
  State& operator=(const State&) = delete;

  ~State() {
    const std::lock_guard lock(mutex());
    forgetTheParentsJobs();
  }

  void add(Entry entry) {
    const std::lock_guard lock(mutex());
    forgetTheParentsJobs();
    if (waiting.empty() && hasRoom()) {
      start(std::move(entry));
    } else {
      waiting.push_back(std::move(entry));
    }
  }

  void finished(std::uint64_t startedIn) {
    const std::lock_guard lock(mutex());
    forgetTheParentsJobs();
    if (startedIn != generation) return;
    --running;
    while (!waiting.empty() && hasRoom()) {
      start(std::move(waiting.front()));
      waiting.pop_front();
    }
  }

  const std::size_t width;
  std::list<Entry> waiting;
  std::size_t running = 0;
  std::uint64_t generation = WorkerPool::shared().generation();

 private:
  // In the child of a fork nobody runs what was running or waiting: that is the parent's.
  void forgetTheParentsJobs() {
    const std::uint64_t current = WorkerPool::shared().generation();
    if (generation == current) return;
    generation = current;
    running = 0;
    // Not destroyed: their captures may lean on what the parent's threads held at the fork.
    static constinit std::list<Entry>* inherited = nullptr;
    if (inherited == nullptr) inherited = new std::list<Entry>;
    inherited->splice(inherited->end(), waiting);
  }

  bool hasRoom() const { return width == 0 || running < width; }

  void start(Entry entry) {
    ++running;
    WorkerPool::shared().submit(makeJob(
        [self = shared_from_this(), entry = std::move(entry), startedIn = generation]() mutable {
          if (entry.finishing) {
            entry.finishing([self, startedIn] { self->finished(startedIn); });
          } else {
            entry.job->run();
            entry.job.reset();
            self->finished(startedIn);
          }
        }));
  }
};

Strand::Strand(std::size_t width) : state_(std::make_shared<State>(width)) {}

void Strand::post(std::unique_ptr<Job> job) const {
  state_->add({.job = std::move(job), .finishing = {}});
}

void post(const std::optional<Strand>& queue, std::unique_ptr<Job> job) {
  if (queue) {
    queue->post(std::move(job));
  } else {
    WorkerPool::shared().submit(std::move(job));
  }
}

void Strand::postFinishing(std::function<void(Finish)> job) const {
  auto once = [job = std::move(job)](Finish finish) {
    auto called = std::make_shared<std::atomic<bool>>(false);
    job([called = std::move(called), finish = std::move(finish)] {
      if (!called->exchange(true)) finish();
    });
  };
  state_->add({.job = {}, .finishing = std::move(once)});
}

}  // namespace orx::platform
