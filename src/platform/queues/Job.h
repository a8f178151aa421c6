// SPDX-License-Identifier: MIT
#pragma once

#include <chrono>
#include <cstddef>
#include <memory>
#include <utility>

namespace orx::platform {

// Work for a worker: run once, then destroyed on that worker. After exit() has begun, queued jobs
// are neither run nor destroyed.
class Job {
 public:
  Job() = default;
  Job(const Job&) = delete;
  Job& operator=(const Job&) = delete;
  virtual ~Job() = default;

  // Must not throw.
  virtual void run() = 0;

 private:
  friend class JobList;
  std::unique_ptr<Job> next_;
  std::chrono::steady_clock::time_point added_;
};

// Jobs in the order in which they were added. They are linked through themselves, so that adding
// one needs no memory and cannot fail.
class JobList {
 public:
  bool empty() const { return first_ == nullptr; }
  std::size_t size() const { return size_; }
  // When the first job was added; to be asked only when there is one.
  std::chrono::steady_clock::time_point firstAdded() const { return first_->added_; }

  void add(std::unique_ptr<Job> job) {
    job->added_ = std::chrono::steady_clock::now();
    Job* added = job.get();
    (last_ != nullptr ? last_->next_ : first_) = std::move(job);
    last_ = added;
    ++size_;
  }

  std::unique_ptr<Job> takeFirst() {
    std::unique_ptr<Job> job = std::move(first_);
    first_ = std::move(job->next_);
    if (first_ == nullptr) last_ = nullptr;
    --size_;
    return job;
  }

  // Adds all jobs to the end of `other`, and leaves this list empty.
  void moveTo(JobList& other) {
    if (empty()) return;
    (other.last_ != nullptr ? other.last_->next_ : other.first_) = std::move(first_);
    other.last_ = std::exchange(last_, nullptr);
    other.size_ += std::exchange(size_, 0);
  }

 private:
  std::unique_ptr<Job> first_;
  Job* last_ = nullptr;
  std::size_t size_ = 0;
};

// Calls a block, which may hold what cannot be copied.
template <typename Block>
class BlockJob final : public Job {
 public:
  explicit BlockJob(Block&& block) : block_(std::move(block)) {}
  void run() override { block_(); }

 private:
  Block block_;
};

template <typename Block>
std::unique_ptr<Job> makeJob(Block block) {
  return std::make_unique<BlockJob<Block>>(std::move(block));
}

}  // namespace orx::platform
