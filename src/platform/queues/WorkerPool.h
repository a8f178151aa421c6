// SPDX-License-Identifier: MIT
#pragma once

#include <memory>

#include "platform/queues/Job.h"

namespace orx::platform {

// Waits for events and turns them into jobs. One worker at a time, the leader, runs it.
class Reactor {
 public:
  // Returns when there may be something to do.
  virtual void wait() = 0;
  // Handles what there is, and submits the jobs that come of it. The leader calls wait() and
  // dispatch() in turn; neither may throw.
  virtual void dispatch() = 0;
  // Lets wait(), this one or the next, return at once. Called from any thread with the pool locked:
  // must not block, and cannot fail.
  virtual void interrupt() = 0;

 protected:
  ~Reactor() = default;
};

// The threads that run completion handlers and queued operations. Two stay; a further one comes
// when a job has waited 2 ms, so that callbacks that block hold nobody up, and goes when it has
// been idle for 3 s. There is no upper limit. The process has one pool, and it is never destroyed.
//
// The pool follows the leader/followers pattern: the leader waits in the reactor and itself runs
// the short jobs that come of it, which saves the two thread switches of handing each to another
// worker and back. When a job keeps the leader for 2 ms, a follower is promoted to leader.
class WorkerPool {
 public:
  static WorkerPool& shared();

  // Makes sure that there is at least one worker, for as long as the process lives: from then on
  // every job runs, later where the system has no thread for a second worker. When there is none
  // and none can be had, throws std::system_error, or std::bad_alloc without memory. To be called
  // before anything has changed, by whoever promises a host that something will run.
  void ensureWorker();

  // Runs the job on a worker. Cheap: wakes at most one thread and never waits for one. After
  // ensureWorker() it cannot fail; without any worker the job waits for the next call that can
  // start one.
  void submit(std::unique_ptr<Job> job);

  // From here on one worker at a time runs `reactor`, until the process ends. There is at most one
  // reactor. Fails as submit() does.
  void setReactor(Reactor& reactor);

  // From here on no job starts; those that run go on. Called by itself at exit().
  void stop();

 private:
  struct State;

  constexpr WorkerPool() = default;
  State& state();

  // Under forkLocks.workerPool.
  State* state_ = nullptr;
};

}  // namespace orx::platform
