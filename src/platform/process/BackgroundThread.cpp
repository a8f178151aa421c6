#include "platform/process/BackgroundThread.h"

#include <unistd.h>

#include <thread>
#include <utility>

#include "platform/process/BlockedSignals.h"

namespace orx::platform {

void startBackgroundThread(std::function<void()> body) {
  const BlockedSignals blocked;
  std::thread(std::move(body)).detach();
}

void parkForever(std::unique_lock<std::mutex>& lock) {
  lock.unlock();
  for (;;) pause();
}

}  // namespace orx::platform
