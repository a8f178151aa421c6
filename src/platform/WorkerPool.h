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

namespace orx {

// The threads that run handlers and queued operations. A few stay; another comes when a job has
// waited a moment without a free one, so that callbacks that block hold nobody up; those that find
// nothing to do go again. There is no upper limit. The process has one pool, never destroyed.
class WorkerPool {
 public:
  // Must not throw. Run and destroyed on a worker.
  using Job = std::function<void()>;

  static WorkerPool& shared();

  // Cheap enough for the transfer thread: at most one wake-up, no waiting. Once the process ends,
  // jobs are taken but never run.
  void submit(Job job);

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

  WorkerPool();
  void work();
  void standBy();
  void sleepIdle(std::unique_lock<std::mutex>& lock, Worker& self);
  void wakeSomebody();
  void wakeIdle();
  void alertStandby();
  void startWorker();
  void startStandby();
  bool startThread(void (WorkerPool::*body)());
  void runNext(std::unique_lock<std::mutex>& lock);

  mutable std::mutex mutex_;
  State* state_;
  std::atomic<bool> stopped_{false};
  std::atomic<std::uint64_t> generation_{0};
};

}  // namespace orx
