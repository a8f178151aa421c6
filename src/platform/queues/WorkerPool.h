#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <vector>

#include "platform/queues/Job.h"

namespace orx::platform {

// Work without an end, which one worker at a time attends to: it waits for something to happen, and
// submits the jobs that come of it.
class Duty {
 public:
  // Returns when there may be something to do.
  virtual void wait() = 0;
  // Does it. Both are called on one thread after the other, never on two at a time, and must not
  // throw.
  virtual void turn() = 0;

 protected:
  ~Duty() = default;
};

// The threads that run handlers and queued operations. A few stay; another comes when a job has
// waited a moment without a free one, so that callbacks that block hold nobody up; those that find
// nothing to do go again. There is no upper limit. The process has one pool, never destroyed.
//
// The worker that attends to the duty runs the short jobs that come of it by itself, which costs no
// thread switch. When one of them keeps it too long, another worker takes the duty over.
class WorkerPool {
 public:
  static WorkerPool& shared();

  // From here on a worker attends to `duty`, for the rest of the process; a pool has one duty at
  // most. False, and nothing has changed, when the system has no thread for it.
  bool attendTo(Duty& duty);

  // Cheap: at most one wake-up, no waiting. Once the process ends, jobs are taken but never run.
  void submit(std::unique_ptr<Job> job);
  void submit(std::function<void()> block) { submit(makeJob(std::move(block))); }

  // From here on no job starts; those that run go on.
  void stop();
  bool stopped() const { return stopped_; }
  // Counts the forks between the first process and this one: what was running before a fork does
  // not run in the child.
  std::uint64_t generation() const { return generation_; }

  // Threads that exist at this moment.
  std::size_t workerCount() const;

 private:
  struct Worker;
  struct State;
  using Lock = std::unique_lock<std::mutex>;

  WorkerPool();
  void work();
  void attend(Lock& lock);
  void runNext(Lock& lock, const Worker& self);
  void sleepIdle(Lock& lock, Worker& self);
  void wakeSomebody();
  bool wakeIdleOrStart();
  bool startThread(void (WorkerPool::*body)());

  void standBy();
  void alertStandby();
  void relieve();

  mutable std::mutex mutex_;
  State* state_;
  std::atomic<bool> stopped_{false};
  std::atomic<std::uint64_t> generation_{0};
};

}  // namespace orx::platform
