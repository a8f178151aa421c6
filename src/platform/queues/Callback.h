// SPDX-License-Identifier: MIT
#pragma once

#include <ORXAccount/CallbackExecutor.h>

#include <memory>
#include <new>
#include <utility>

#include "platform/queues/Job.h"

// Every callback of the host's passes through here on its way to the thread that it runs on.
namespace orx::platform {

enum class CallbackKind {
  Own,      // the library's: it stays on the thread that reports
  Handler,  // a completion handler or a picture block
  Change,   // what observers or the delegate are told about the current user
};

// The executor that the host wants callbacks of this kind to go to; null where they stay on the
// thread that reports them.
std::shared_ptr<const CallbackExecutor> callbackExecutorFor(CallbackKind kind);

// Hands the job to the executor; it runs exactly once, whatever that one does. Where there is no
// memory to hand it over, it runs here or on a worker.
void runOn(const CallbackExecutor& executor, std::unique_ptr<Job> job) noexcept;

// Calls the block, which must not throw on another thread, where callbacks of this kind run; on
// this thread also where there is no memory to bring it elsewhere. Not with a lock held.
template <typename Block>
void callBack(CallbackKind kind, Block block) {
  if (const auto executor = callbackExecutorFor(kind)) {
    std::unique_ptr<Job> job(new (std::nothrow) BlockJob<Block>(std::move(block)));
    if (job) return runOn(*executor, std::move(job));
  }
  // Whole still, where there was no memory for the job that would have taken it.
  block();  // NOLINT(bugprone-use-after-move)
}

}  // namespace orx::platform
