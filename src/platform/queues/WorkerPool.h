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

  // Runs the job on a worker. Cheap: wakes at most one thread and never waits for one.
  void submit(std::unique_ptr<Job> job);

  // From here on one worker at a time runs `reactor`, until the process ends. There is at most one
  // reactor. False, and nothing has changed, when the system has no thread for it.
  bool setReactor(Reactor& reactor);

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
