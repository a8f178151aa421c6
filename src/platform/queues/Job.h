#pragma once

#include <memory>
#include <utility>

namespace orx::platform {

// Work for a worker, done once and destroyed there. Once the process ends it is neither.
class Job {
 public:
  Job() = default;
  Job(const Job&) = delete;
  Job& operator=(const Job&) = delete;
  virtual ~Job() = default;

  // Must not throw.
  virtual void run() = 0;
};

// A job that calls `block`, which may hold what cannot be copied.
template <typename Block>
std::unique_ptr<Job> makeJob(Block block) {
  class BlockJob final : public Job {
   public:
    explicit BlockJob(Block given) : block_(std::move(given)) {}
    void run() override { block_(); }

   private:
    Block block_;
  };
  return std::make_unique<BlockJob>(std::move(block));
}

}  // namespace orx::platform
