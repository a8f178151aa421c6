#include "support/ChildProcess.h"

#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <stdexcept>

#include "support/Await.h"

namespace {

bool isForkedChild = false;

}  // namespace

// Asked by the leak checker at exit: in a forked child it would take for lost what only the
// parent's threads know.
// The sanitizer looks for this very name. NOLINTNEXTLINE(bugprone-reserved-identifier)
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
