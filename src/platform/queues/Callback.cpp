// SPDX-License-Identifier: MIT
#include "platform/queues/Callback.h"

#include <atomic>
#include <new>

#include "platform/process/ForkSafety.h"
#include "platform/process/Log.h"
#include "platform/queues/WorkerPool.h"

namespace orx {

using namespace platform;

namespace {

struct Setting {
  CallbackExecutor executor;
  CallbackScope scope;
};
using SharedSetting = std::shared_ptr<const Setting>;

Guarded<SharedSetting>& executorInForce() {
  static constinit ProcessWide<Guarded<SharedSetting>> setting;
  return setting.get();
}

// Spares the lock, and the first use of the above, where no host has ever set an executor.
constinit std::atomic<bool> mayBeSet = false;

// A job that the host's executor may run: shared by all copies of the block that it was handed.
class HandedOver {
 public:
  // Takes the job once the memory for this is there.
  explicit HandedOver(std::unique_ptr<Job>& job) : job_(job.release()) {}
  HandedOver(const HandedOver&) = delete;
  HandedOver& operator=(const HandedOver&) = delete;

  // The last copy of the block is gone. If none was called, a worker runs the job: not this thread,
  // which may be in the midst of taking a loop apart.
  ~HandedOver() {
    if (auto job = take()) WorkerPool::shared().submit(std::move(job));
  }

  // Foreign code starts here. What it throws ends the process, as on a worker.
  void run() noexcept {
    if (const auto job = take()) job->run();
  }

 private:
  // Null from the second time on. Null also in the child of a fork, with its copy of the loop: the
  // job is the parent's, which runs it, and is not even destroyed in the child.
  std::unique_ptr<Job> take() {
    if (madeInFork_ != forkCount()) return nullptr;
    return std::unique_ptr<Job>(job_.exchange(nullptr));
  }

  std::atomic<Job*> job_;
  const std::uint64_t madeInFork_ = forkCount();
};

}  // namespace

void setCallbackExecutor(CallbackExecutor executor, CallbackScope scope) {
  SharedSetting setting;
  if (executor) setting = std::make_shared<const Setting>(Setting{std::move(executor), scope});
  executorInForce().set(std::move(setting));
  mayBeSet = true;
}

std::shared_ptr<const CallbackExecutor> platform::callbackExecutorFor(CallbackKind kind) {
  if (!mayBeSet || kind == CallbackKind::Own) return nullptr;
  const auto setting = executorInForce().get();
  if (!setting) return nullptr;
  if (kind == CallbackKind::Change && setting->scope != CallbackScope::Everything) return nullptr;
  return {setting, &setting->executor};
}

void platform::runOn(const CallbackExecutor& executor, std::unique_ptr<Job> job) noexcept {
  try {
    const auto handedOver = std::make_shared<HandedOver>(job);
    executor([handedOver] { handedOver->run(); });
  } catch (const std::bad_alloc&) {
    tellLogHandler(LogLevel::Warning, "There is no memory to hand a callback to the executor.");
  } catch (...) {
    tellLogHandler(LogLevel::Warning, "The callback executor has thrown an exception.");
  }
  // Without memory for HandedOver the job is still here. Otherwise that one sees to it.
  if (job) job->run();
}

}  // namespace orx
