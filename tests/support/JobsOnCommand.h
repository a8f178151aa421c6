// SPDX-License-Identifier: MIT
#pragma once

#include <atomic>
#include <chrono>
#include <functional>
#include <memory>
#include <thread>
#include <utility>

#include "platform/queues/WorkerPool.h"
#include "support/Await.h"

namespace orx::testing {

// A reactor that submits a job each time it is told to.
class JobsOnCommand final : public platform::Reactor {
 public:
  // Workers lead it for the rest of the process.
  static JobsOnCommand& running() {
    static auto& reactor = anew();
    return reactor;
  }
  // For the child of a fork, where the parent's cannot be used.
  static JobsOnCommand& anew() {
    auto& reactor = *new JobsOnCommand;
    platform::WorkerPool::shared().setReactor(reactor);
    return reactor;
  }

  void submitNext(std::function<void()> block) {
    pending_.put(platform::makeJob(std::move(block)));
  }
  // The threads that have led, one for each job.
  std::thread::id nextLeader() { return leaders_.take(); }
  bool hadTwoLeaders() const { return hadTwoLeaders_; }

 private:
  void wait() override {
    if (isLed_.exchange(true)) hadTwoLeaders_ = true;
    next_ = pending_.take(std::chrono::hours(1));
  }
  void dispatch() override {
    if (next_) {
      leaders_.put(std::this_thread::get_id());
      platform::WorkerPool::shared().submit(std::move(next_));
    }
    isLed_ = false;
  }
  void interrupt() override { pending_.put(nullptr); }

  Mailbox<std::unique_ptr<platform::Job>> pending_;
  Mailbox<std::thread::id> leaders_;
  std::unique_ptr<platform::Job> next_;
  std::atomic<bool> isLed_ = false;
  std::atomic<bool> hadTwoLeaders_ = false;
};

}  // namespace orx::testing
