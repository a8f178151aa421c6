// SPDX-License-Identifier: MIT
#include "platform/queues/WorkerPool.h"

#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <cstdlib>
#include <exception>
#include <mutex>
#include <optional>
#include <utility>
#include <vector>

#include "platform/process/ForkSafety.h"
#include "platform/process/Signals.h"

// How the parts meet:
//   - submit() adds the job to one list and makes sure that some thread will look at it: a worker
//     that is about to look anyway, an idle one that is woken, a new one while there are fewer than
//     two, or else the watchdog.
//   - A worker takes jobs as long as there are any; without jobs it leads if nobody does, and
//     otherwise sleeps.
//   - The watchdog looks at the oldest job and at the reactor. What has waited for 2 ms gets a
//     worker more. So a guess of submit() that turns out wrong costs 2 ms and never a hang.
//   - Without a thread or memory for a further worker, jobs wait for one that returns, and the
//     leader is called back from its reactor for them. A watchdog that can get no second worker
//     becomes that worker. Where there is no watchdog, what it would do after 2 ms is done at once.
//   - ensureWorker() tells a caller when there is no worker at all and none can be had.
//   - At exit() all threads stop at the next job or pass; what runs goes on, and nobody waits for
//     it. Jobs that are left are neither run nor destroyed.
//   - The child of a fork has one thread, none of the pool's or the one worker whose job forked.
//     It gets a new state with its first submit(), and that worker ends when its job returns.
namespace orx::platform {
namespace {

using Clock = std::chrono::steady_clock;
using Lock = std::unique_lock<std::mutex>;

// Workers that stay when there is nothing to do.
constexpr std::size_t coreWorkers = 2;
// How long a job may wait for a worker, and the reactor for a leader, before the watchdog helps.
constexpr std::chrono::milliseconds patience{2};
// A worker that took a job this short a time ago is expected to take the next one too, so no second
// worker is woken: most handlers are shorter than the thread switch. If the first one blocks after
// all, the watchdog starts another.
constexpr std::chrono::microseconds expectedReturn{200};
// A job up to this long costs less than handing it to another thread.
constexpr std::chrono::microseconds shortJob{100};
// An idle worker beyond the core, and an idle watchdog, end after this time.
constexpr std::chrono::seconds idleTime{3};
// How often a watchdog asks again for a thread that the system has refused: to be refused one costs
// several system calls.
constexpr std::chrono::milliseconds refusalTime{20};

// This thread is the leader and inside Reactor::dispatch(): it runs what it submits itself.
constinit thread_local bool isDispatching = false;

// Foreign code starts here. What it throws ends the process, as with std::thread.
void run(Job& job) noexcept { job.run(); }

}  // namespace

struct WorkerPool::State {
  struct Worker {
    std::condition_variable wake;
    bool isAwake = false;
  };

  explicit State(const State* parentsState)
      : parents(parentsState), isStopped(parents != nullptr && parents->isStopped) {}

  // The state of the parent, in the child of a fork. Kept and never used: its condition variables
  // have waiters, and its jobs may hold what only the parent's threads can let go.
  const State* const parents;
  const std::uint64_t madeInFork = forkCount();
  bool isStopped;

  JobList jobs;
  // The last to fall asleep is woken first: its caches are warm, and the others get to retire.
  std::vector<Worker*> idle;
  std::size_t workers = 0;
  std::size_t busyWorkers = 0;  // inside a job
  // A worker was woken or started and has not looked at the jobs yet. No further one is woken until
  // it has; it wakes the next one itself when there is more than one job.
  bool workerIsComing = false;
  Clock::time_point lastJobTaken;
  bool lastJobWasShort = true;

  Reactor* reactor = nullptr;
  const Worker* leader = nullptr;  // none: the next free worker leads
  bool leaderIsInReactor = false;  // not inside a job
  Clock::time_point leaderLeft;    // the reactor

  bool hasWatchdog = false;
  bool watchdogIsAsleep = false;   // until it is woken, or has slept long enough to end
  bool watchdogIsAlerted = false;  // since it last looked
  std::condition_variable watchdogWake;

  // Bodies of threads.
  void work();
  void watch();

  void lead(Lock& lock);
  void runNext(Lock& lock, const Worker& self);
  bool sleepUntilWoken(Lock& lock, Worker& self);
  void wakeWorker();
  bool wakeOrStartWorker();
  void startWorker();
  void startThread(void (State::*body)());
  bool triesToStart(void (State::*start)());
  void interruptLeader() const;

  void alertWatchdog();
  void startWatchdog();
  bool promoteFollower();
  std::optional<Clock::time_point> deadline() const;

  [[noreturn]] static void parkForever(Lock& lock);
};

// ---- What others call. ----

WorkerPool& WorkerPool::shared() {
  static constinit WorkerPool pool;
  return pool;
}

// The state of this process; called with the mutex locked. The child of a fork has none of the
// parent's threads, so it begins with a new one.
WorkerPool::State& WorkerPool::state() {
  if (state_ == nullptr) std::atexit([] { shared().stop(); });
  if (state_ == nullptr || state_->madeInFork != forkCount()) state_ = new State(state_);
  return *state_;
}

void WorkerPool::ensureWorker() {
  const Lock lock(forkLocks.workerPool);
  State& pool = state();
  if (pool.workers == 0 && !pool.isStopped) pool.startWorker();
}

void WorkerPool::submit(std::unique_ptr<Job> job) {
  const Lock lock(forkLocks.workerPool);
  State& pool = state();
  pool.jobs.add(std::move(job));
  if (pool.isStopped) return;
  if (isDispatching && pool.lastJobWasShort) {
    // This thread takes the job as soon as it leaves the reactor. Should an earlier job keep it,
    // the watchdog finds another worker.
    pool.alertWatchdog();
  } else {
    pool.wakeWorker();
  }
}

void WorkerPool::setReactor(Reactor& reactor) {
  const Lock lock(forkLocks.workerPool);
  State& pool = state();
  pool.reactor = &reactor;
  pool.leaderLeft = Clock::now();
  if (!pool.isStopped) pool.wakeWorker();
}

void WorkerPool::stop() {
  const Lock lock(forkLocks.workerPool);
  state().isStopped = true;
}

// ---- A worker. All below runs with the mutex locked, but for the inside of jobs and reactor. ----

void WorkerPool::State::work() {
  Worker self;
  Lock lock(forkLocks.workerPool);
  workerIsComing = false;
  // A job of this worker may have forked. In the child the thread then ends here, because
  // the parent's other workers do not exist there and the child has a state of its own.
  while (madeInFork == forkCount()) {
    if (isStopped) parkForever(lock);
    // Otherwise a steady stream of jobs would keep the leader from its reactor for good.
    const bool leavesJobsToOthers = leader == &self && workerIsComing;
    if (!jobs.empty() && !leavesJobsToOthers) {
      runNext(lock, self);
    } else if (reactor != nullptr && (leader == nullptr || leader == &self)) {
      leader = &self;
      lead(lock);
    } else if (sleepUntilWoken(lock, self)) {
      workerIsComing = false;
    } else {
      --workers;
      return;
    }
  }
}

void WorkerPool::State::lead(Lock& lock) {
  leaderIsInReactor = true;
  lock.unlock();
  reactor->wait();
  isDispatching = true;
  reactor->dispatch();
  isDispatching = false;
  lock.lock();
}

void WorkerPool::State::runNext(Lock& lock, const Worker& self) {
  auto job = jobs.takeFirst();
  const auto begin = Clock::now();
  lastJobTaken = begin;
  ++busyWorkers;
  if (leader == &self && std::exchange(leaderIsInReactor, false)) leaderLeft = begin;
  if (reactor != nullptr && !leaderIsInReactor) alertWatchdog();
  if (!jobs.empty()) wakeWorker();
  lock.unlock();
  run(*job);
  job.reset();
  const bool wasShort = Clock::now() - begin <= shortJob;
  lock.lock();
  --busyWorkers;
  lastJobWasShort = wasShort;
}

// False when the worker has been idle long enough to end.
bool WorkerPool::State::sleepUntilWoken(Lock& lock, Worker& self) {
  self.isAwake = false;
  idle.push_back(&self);
  const auto isWoken = [&self] { return self.isAwake; };
  if (workers > coreWorkers) self.wake.wait_for(lock, idleTime, isWoken);
  // Counted again: of several that fall asleep together beyond the core, the last ones to run out
  // of time are the core by then.
  if (!self.isAwake && workers > coreWorkers) {
    std::erase(idle, &self);
  } else {
    self.wake.wait(lock, isWoken);
  }
  return self.isAwake;
}

// Finds a worker for a new job, at the least cost: at most one thread is woken, and none when one
// is about to look for jobs anyway.
void WorkerPool::State::wakeWorker() {
  if (workerIsComing) return;
  const bool oneReturnsSoon = busyWorkers > 0 && Clock::now() - lastJobTaken < expectedReturn;
  const bool oneIsFree = !idle.empty() || workers < coreWorkers;
  if (oneReturnsSoon || !oneIsFree) {
    alertWatchdog();
  } else if (!wakeOrStartWorker()) {
    interruptLeader();
  }
}

// True when a worker comes.
bool WorkerPool::State::wakeOrStartWorker() {
  if (idle.empty()) return triesToStart(&State::startWorker);
  Worker* worker = idle.back();
  idle.pop_back();
  worker->isAwake = true;
  worker->wake.notify_one();
  workerIsComing = true;
  return true;
}

void WorkerPool::State::startWorker() {
  startThread(&State::work);
  ++workers;
  workerIsComing = true;
}

// Throws std::system_error when the system has no thread left, std::bad_alloc without memory.
void WorkerPool::State::startThread(void (State::*body)()) {
  // A worker that falls asleep, and a watchdog that becomes one, must find its place here.
  idle.reserve(std::max(workers + 1, coreWorkers));
  startBackgroundThread([this, body] { (this->*body)(); });
}

// False when the system has no thread or memory left. Jobs then wait until a worker is free; the
// watchdog and later jobs try again.
bool WorkerPool::State::triesToStart(void (State::*start)()) {
  try {
    (this->*start)();
    return true;
  } catch (const std::exception&) {
    return false;
  }
}

// For a job that has no other worker: the leader would sleep in its reactor until something happens
// there, which may be never. Back from it, it takes the job.
void WorkerPool::State::interruptLeader() const {
  if (leaderIsInReactor) reactor->interrupt();
}

// What a thread of the pool does once exit() has begun. If it returned, its thread-local
// destructors would run at the same time as the static ones of the process.
void WorkerPool::State::parkForever(Lock& lock) {
  lock.unlock();
  for (;;) pause();
}

// ---- The watchdog: a thread that takes no jobs, only looks whether one has waited too long. ----

void WorkerPool::State::watch() {
  Lock lock(forkLocks.workerPool);
  for (;;) {
    if (isStopped) parkForever(lock);
    const auto now = Clock::now();
    const auto due = deadline();
    const bool isOverdue = due && *due <= now;
    const bool isHelpless = isOverdue && !promoteFollower();
    if (isHelpless && workers < coreWorkers) break;
    if (due || std::exchange(watchdogIsAlerted, false)) {
      // After a promotion that worker takes the job; looking again at once would find the same one
      // overdue. After an alert more jobs will come: falling asleep between them would make each
      // submit() pay for waking the watchdog.
      const auto pause = isHelpless ? refusalTime : patience;
      watchdogWake.wait_until(lock, due && !isOverdue ? *due : now + pause);
    } else {
      watchdogIsAsleep = true;
      if (watchdogWake.wait_for(lock, idleTime, [this] { return !watchdogIsAsleep; })) continue;
      watchdogIsAsleep = false;
      hasWatchdog = false;
      return;
    }
  }
  // This may be the last thread that can be had: a worker more is worth more than a watchdog.
  hasWatchdog = false;
  ++workers;
  lock.unlock();
  work();
}

// Makes sure that the watchdog looks within 2 ms. One that is not asleep does so by itself.
void WorkerPool::State::alertWatchdog() {
  watchdogIsAlerted = true;
  if (!hasWatchdog) {
    if (!triesToStart(&State::startWatchdog)) promoteFollower();
  } else if (watchdogIsAsleep) {
    watchdogIsAsleep = false;
    watchdogWake.notify_one();
  }
}

void WorkerPool::State::startWatchdog() {
  startThread(&State::watch);
  hasWatchdog = true;
}

// Gets a further worker for the job that has waited too long. When a job keeps the leader from the
// reactor, it loses the lead, and the worker takes that over once no job is left. False when there
// is no thread for a further worker.
bool WorkerPool::State::promoteFollower() {
  // Without a watchdog nobody looks again later.
  const bool isTooLong = !hasWatchdog || leaderLeft + patience <= Clock::now();
  if (reactor != nullptr && !leaderIsInReactor && isTooLong) leader = nullptr;
  if (wakeOrStartWorker()) return true;
  interruptLeader();
  return false;
}

// When a job, or the reactor, will have waited too long; absent when nothing waits.
std::optional<Clock::time_point> WorkerPool::State::deadline() const {
  std::optional<Clock::time_point> since;
  if (!jobs.empty()) since = jobs.firstAdded();
  if (reactor != nullptr && !leaderIsInReactor && (!since || leaderLeft < *since)) {
    since = leaderLeft;
  }
  return since ? std::optional(*since + patience) : std::nullopt;
}

}  // namespace orx::platform
