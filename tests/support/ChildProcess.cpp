// SPDX-License-Identifier: MIT
#include "support/ChildProcess.h"

#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <stdexcept>

#include "support/Await.h"

namespace {

bool isForkedChild = false;

}  // namespace

// The leak checker calls this function, by this name, at exit. In a forked child it would report
// memory as leaked that only the parent's other threads point to.
// NOLINTNEXTLINE(bugprone-reserved-identifier)
extern "C" __attribute__((visibility("default"))) int __lsan_is_turned_off() {
  return isForkedChild ? 1 : 0;
}

namespace orx::testing {

ChildProcess::ChildProcess(const std::function<int()>& work) : process_(fork()) {
  if (process_ < 0) throw std::runtime_error("cannot fork");
  if (process_ == 0) {
    isForkedChild = true;
    int status = 125;
    try {
      status = work();
    } catch (...) {
    }
    _exit(status);
  }
}

ChildProcess::~ChildProcess() {
  if (process_ <= 0) return;
  kill(SIGKILL);
  waitpid(process_, nullptr, 0);
}

int ChildProcess::wait() {
  int status = 0;
  const bool ended = eventually([&] { return waitpid(process_, &status, WNOHANG) == process_; });
  if (!ended) {
    kill(SIGKILL);
    waitpid(process_, &status, 0);
  }
  process_ = -1;
  return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
}

void ChildProcess::kill(int signal) { ::kill(process_, signal); }

}  // namespace orx::testing
