#include "platform/queues/WorkerPool.h"

#include <cstdlib>
#include <optional>
#include <system_error>
#include <utility>

#include "platform/process/BackgroundThread.h"
#include "platform/process/ForkSafety.h"

namespace orx::platform {
namespace {

using Clock = std::chrono::steady_clock;

constexpr std::size_t coreWorkers = 2;
// A job that waits longer than this for a free worker gets a new one, and so does the duty.
constexpr std::chrono::milliseconds patience{2};
// A worker that took a job this short a time ago is expected back for the next one: short handlers
// then cost no thread switch each. Should it block, the standby comes.
constexpr std::chrono::microseconds expectedBack{200};
// A job up to this long costs less than the thread switch that would let another worker run it.
constexpr std::chrono::microseconds shortJob{100};
// An idle worker beyond the core goes after this time.
constexpr std::chrono::seconds idleTime{3};

// The duty's own turn runs on this thread: what it submits, this thread runs next.
thread_local bool isInTurn = false;

// Where foreign code begins: what it throws ends the process here, as with std::thread.
void call(Job& job) noexcept { job.run(); }

}  // namespace

struct WorkerPool::Worker {
  std::condition_variable wake;
  bool isAwake = false;
};

struct WorkerPool::State {
  State* inherited = nullptr;  // the parent's, in the child of a fork

  struct Waiting {
    std::unique_ptr<Job> job;
    Clock::time_point since;
  };
  std::deque<Waiting> jobs;
  // The last to fall asleep is the first to be woken: its caches are warm, and the others can
  // retire.
  std::vector<Worker*> idle;
  std::size_t workers = 0;
  std::size_t running = 0;  // workers that are inside a job
  // A worker was woken or started and has not looked at the jobs yet; it wakes the next one.
  bool someoneIsComing = false;
  Clock::time_point lastTaken;
  bool jobsAreShort = true;

  Duty* duty = nullptr;
  const Worker* attendant =
      nullptr;              // whose the duty is; absent when the next free worker takes it
  bool isAttended = false;  // the attendant is at it, not inside a job
  Clock::time_point unattendedSince;

  // The one thread that takes no job before it has waited long enough: it measures the patience.
  bool hasStandby = false;
  bool standbyDozes = false;
  bool standbyIsAlerted = false;
  std::condition_variable standbyWake;

  // When somebody is to be relieved; absent when nobody waits.
  std::optional<Clock::time_point> due() const {
    std::optional<Clock::time_point> since;
    if (!jobs.empty()) since = jobs.front().since;
    if (duty != nullptr && !isAttended && (!since || unattendedSince < *since)) {
      since = unattendedSince;
    }
    return since ? std::optional(*since + patience) : std::nullopt;
  }
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
}

WorkerPool& WorkerPool::shared() {
  static constinit ProcessWide<WorkerPool> pool;
  return pool.get([] { return WorkerPool(); });
}

void WorkerPool::submit(std::unique_ptr<Job> job) {
  const std::lock_guard lock(mutex_);
  state_->jobs.push_back({std::move(job), Clock::now()});
  if (stopped_) return;
  if (isInTurn && state_->jobsAreShort) {
    alertStandby();
  } else {
    wakeSomebody();
  }
}

bool WorkerPool::attendTo(Duty& duty) {
  const std::lock_guard lock(mutex_);
  state_->duty = &duty;
  state_->unattendedSince = Clock::now();
  if (stopped_ || wakeIdleOrStart()) return true;
  state_->duty = nullptr;
  return false;
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
  if (state.someoneIsComing) return;
  const bool someoneIsBack = state.running > 0 && Clock::now() - state.lastTaken < expectedBack;
  const bool someoneIsFree = !state.idle.empty() || state.workers < coreWorkers;
  if (someoneIsBack || !someoneIsFree) {
    alertStandby();
  } else {
    wakeIdleOrStart();
  }
}

// True when a worker comes.
bool WorkerPool::wakeIdleOrStart() {
  State& state = *state_;
  if (state.idle.empty()) {
    if (!startThread(&WorkerPool::work)) return false;
    ++state.workers;
  } else {
    Worker* worker = state.idle.back();
    state.idle.pop_back();
    worker->isAwake = true;
    worker->wake.notify_one();
  }
  state.someoneIsComing = true;
  return true;
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

void WorkerPool::work() {
  const std::uint64_t generation = generation_;
  Worker self;
  Lock lock(mutex_);
  state_->someoneIsComing = false;
  while (generation == generation_) {
    State& state = *state_;
    if (stopped_) parkForever(lock);
    const bool othersTakeJobs = state.attendant == &self && state.someoneIsComing;
    if (!state.jobs.empty() && !othersTakeJobs) {
      runNext(lock, self);
      continue;
    }
    if (state.duty != nullptr && state.attendant == nullptr) state.attendant = &self;
    if (state.attendant == &self) {
      attend(lock);
      continue;
    }
    sleepIdle(lock, self);
    if (!self.isAwake) {
      --state.workers;
      return;
    }
    state.someoneIsComing = false;
  }
}

void WorkerPool::attend(Lock& lock) {
  State& state = *state_;
  state.isAttended = true;
  lock.unlock();
  state.duty->wait();
  isInTurn = true;
  state.duty->turn();
  isInTurn = false;
  lock.lock();
}

void WorkerPool::runNext(Lock& lock, const Worker& self) {
  State& state = *state_;
  auto job = std::move(state.jobs.front().job);
  state.jobs.pop_front();
  const auto begin = Clock::now();
  state.lastTaken = begin;
  ++state.running;
  if (state.attendant == &self && std::exchange(state.isAttended, false)) {
    state.unattendedSince = begin;
  }
  if (state.duty != nullptr && !state.isAttended) alertStandby();
  if (!state.jobs.empty()) wakeSomebody();
  lock.unlock();
  call(*job);
  job.reset();
  const bool wasShort = Clock::now() - begin <= shortJob;
  lock.lock();
  // Of the parent's in the child of a fork, where nobody looks at it.
  --state.running;
  state.jobsAreShort = wasShort;
}

// Returns with isAwake set, or unset when the time to retire has come.
void WorkerPool::sleepIdle(Lock& lock, Worker& self) {
  self.isAwake = false;
  state_->idle.push_back(&self);
  const auto woken = [&self] { return self.isAwake; };
  if (state_->workers <= coreWorkers) {
    self.wake.wait(lock, woken);
  } else if (!self.wake.wait_for(lock, idleTime, woken)) {
    std::erase(state_->idle, &self);
  }
}

void WorkerPool::alertStandby() {
  State& state = *state_;
  state.standbyIsAlerted = true;
  if (!state.hasStandby) {
    state.hasStandby = startThread(&WorkerPool::standBy);
  } else if (state.standbyDozes) {
    state.standbyDozes = false;
    state.standbyWake.notify_one();
  }
}

void WorkerPool::standBy() {
  Lock lock(mutex_);
  for (;;) {
    if (stopped_) parkForever(lock);
    State& state = *state_;
    const auto due = state.due();
    if (due && *due <= Clock::now()) {
      relieve();
      // That worker takes the job; only then is there something to look at again.
      state.standbyWake.wait_for(lock, patience);
    } else if (due) {
      state.standbyWake.wait_until(lock, *due);
    } else if (std::exchange(state.standbyIsAlerted, false)) {
      // While there is always something new, dozing off would cost a thread switch each time.
      state.standbyWake.wait_for(lock, patience);
    } else {
      state.standbyDozes = true;
      const auto alerted = [&state] { return !state.standbyDozes; };
      if (state.standbyWake.wait_for(lock, idleTime, alerted)) continue;
      state.standbyDozes = false;
      state.hasStandby = false;
      return;
    }
  }
}

// Lets another worker take the job, or the duty, that has waited too long.
void WorkerPool::relieve() {
  State& state = *state_;
  const bool isOverdue = state.unattendedSince + patience <= Clock::now();
  if (state.duty != nullptr && !state.isAttended && isOverdue) state.attendant = nullptr;
  wakeIdleOrStart();
}

}  // namespace orx::platform
