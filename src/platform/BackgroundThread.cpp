#include "platform/BackgroundThread.h"

#include <pthread.h>
#include <unistd.h>

#include <csignal>
#include <thread>
#include <utility>

namespace orx {
namespace {

// A thread begins with the mask of the one that starts it.
class AllSignalsBlocked {
 public:
  AllSignalsBlocked() {
    sigset_t all;
    sigfillset(&all);
    pthread_sigmask(SIG_BLOCK, &all, &before_);
  }
  ~AllSignalsBlocked() { pthread_sigmask(SIG_SETMASK, &before_, nullptr); }
  AllSignalsBlocked(const AllSignalsBlocked&) = delete;
  AllSignalsBlocked& operator=(const AllSignalsBlocked&) = delete;

 private:
  sigset_t before_;
};

}  // namespace

void startBackgroundThread(std::function<void()> body) {
  const AllSignalsBlocked blocked;
  std::thread(std::move(body)).detach();
}

void parkForever(std::unique_lock<std::mutex>& lock) {
  lock.unlock();
  for (;;) pause();
}

}  // namespace orx
