#include "platform/WorkerPool.h"

#include <cstdlib>
#include <system_error>
#include <utility>

#include "platform/BackgroundThread.h"
#include "platform/ForkSafety.h"

namespace orx {
namespace {

using Clock = std::chrono::steady_clock;

constexpr std::size_t coreWorkers = 2;
// A job that waits longer than this for a free worker gets a new one.
constexpr std::chrono::milliseconds patience{2};
// A worker that took a job this short a time ago is expected back for the next one: short handlers
// then cost no thread switch each. Should it block, the standby comes.
constexpr std::chrono::microseconds expectedBack{200};
// An idle worker beyond the core goes after this time.
constexpr std::chrono::seconds idleTime{3};

// Where foreign code begins: what it throws ends the process here, as with std::thread.
void call(const WorkerPool::Job& job) noexcept { job(); }

}  // namespace

struct WorkerPool::Worker {
  std::condition_variable wake;
  bool isAwake = false;
};

struct WorkerPool::State {
  State* inherited = nullptr;  // the parent's, in the child of a fork

  struct Waiting {
    Job job;
    Clock::time_point since;
  };
  std::deque<Waiting> jobs;
  // The last to fall asleep is the first to be woken: its caches are warm, and the others can
  // retire.
  std::vector<Worker*> idle;
  std::size_t workers = 0;
  // A worker was woken or started and has not looked at the jobs yet; it wakes the next one.
  bool someoneIsComing = false;
  Clock::time_point lastTaken;
  // The one thread that takes no job before it has waited long enough: it measures the patience.
  bool hasStandby = false;
  bool standbyDozes = false;
  std::condition_variable standbyWake;
};

WorkerPool::WorkerPool() : state_(new State) {
  std::atexit([] { shared().stop(); });
  holdAcrossFork(ForkRank::workerPool, mutex_, [this] {
    ++generation_;
    // The parent's threads and jobs are not the child's. The old state is kept, for its condition
    // variables have waiters.
    State* inherited = std::exchange(state_, new State);
    state_->inherited = inherited;
  });
  std::atexit([] { shared().stop(); });
}

WorkerPool& WorkerPool::shared() {
  static constinit std::atomic<WorkerPool*> slot = nullptr;
  return processWide(slot, [] { return new WorkerPool; });
}

void WorkerPool::submit(Job job) {
  const std::lock_guard lock(mutex_);
  state_->jobs.push_back({std::move(job), Clock::now()});
  wakeSomebody();
}

void WorkerPool::stop() {
  const std::lock_guard lock(mutex_);
  stopped_ = true;
}

std::size_t WorkerPool::workerCount() const {
  const std::lock_guard lock(mutex_);
  return state_->workers + (state_->hasStandby ? 1 : 0);
}

void WorkerPool::wakeSomebody() {
  State& state = *state_;
  if (stopped_ || state.someoneIsComing) return;
  const bool someoneWorks = state.workers > state.idle.size();
  if (someoneWorks && Clock::now() - state.lastTaken < expectedBack) {
    alertStandby();
  } else if (!state.idle.empty()) {
    wakeIdle();
  } else if (state.workers < coreWorkers) {
    startWorker();
  } else {
    alertStandby();
  }
}

void WorkerPool::wakeIdle() {
  State& state = *state_;
  Worker* worker = state.idle.back();
  state.idle.pop_back();
  worker->isAwake = true;
  state.someoneIsComing = true;
  worker->wake.notify_one();
}

void WorkerPool::alertStandby() {
  State& state = *state_;
  if (!state.hasStandby) {
    startStandby();
  } else if (state.standbyDozes) {
    state.standbyDozes = false;
    state.standbyWake.notify_one();
  }
}

bool WorkerPool::startThread(void (WorkerPool::*body)()) {
  try {
    startBackgroundThread([this, body] { (this->*body)(); });
    return true;
  } catch (const std::system_error&) {
    // Out of threads: the jobs wait for a worker that comes back, or for the next submit.
    return false;
  }
}

void WorkerPool::startWorker() {
  State& state = *state_;
  ++state.workers;
  state.someoneIsComing = true;
  if (startThread(&WorkerPool::work)) return;
  --state.workers;
  state.someoneIsComing = false;
}

void WorkerPool::startStandby() {
  state_->hasStandby = true;
  if (!startThread(&WorkerPool::standBy)) state_->hasStandby = false;
}

void WorkerPool::runNext(std::unique_lock<std::mutex>& lock) {
  Job job = std::move(state_->jobs.front().job);
  state_->jobs.pop_front();
  state_->lastTaken = Clock::now();
  if (!state_->jobs.empty()) wakeSomebody();
  lock.unlock();
  call(job);
  job = nullptr;
  lock.lock();
}

void WorkerPool::work() {
  const std::uint64_t generation = generation_;
  Worker self;
  std::unique_lock lock(mutex_);
  state_->someoneIsComing = false;
  while (generation == generation_) {
    if (stopped_) parkForever(lock);
    if (!state_->jobs.empty()) {
      runNext(lock);
      continue;
    }
    sleepIdle(lock, self);
    if (self.isAwake) {
      state_->someoneIsComing = false;
      continue;
    }
    --state_->workers;
    return;
  }
}

// Returns with isAwake set, or unset when the time to retire has come.
void WorkerPool::sleepIdle(std::unique_lock<std::mutex>& lock, Worker& self) {
  self.isAwake = false;
  state_->idle.push_back(&self);
  const auto woken = [&self] { return self.isAwake; };
  if (state_->workers <= coreWorkers) {
    self.wake.wait(lock, woken);
  } else if (!self.wake.wait_for(lock, idleTime, woken)) {
    std::erase(state_->idle, &self);
  }
}

void WorkerPool::standBy() {
  std::unique_lock lock(mutex_);
  auto& jobs = state_->jobs;
  for (;;) {
    if (stopped_) parkForever(lock);
    if (jobs.empty()) {
      state_->standbyDozes = true;
      const bool woken =
          state_->standbyWake.wait_for(lock, idleTime, [this] { return !state_->standbyDozes; });
      if (woken) continue;
      state_->standbyDozes = false;
      state_->hasStandby = false;
      return;
    }
    const auto due = jobs.front().since + patience;
    if (Clock::now() < due) {
      state_->standbyWake.wait_until(lock, due);
    } else {
      if (state_->idle.empty()) {
        startWorker();
      } else {
        wakeIdle();
      }
      // That worker takes the job; only then is there something to look at again.
      state_->standbyWake.wait_for(lock, patience);
    }
  }
}

}  // namespace orx
