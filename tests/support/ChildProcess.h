// SPDX-License-Identifier: MIT
#pragma once

#include <sys/types.h>

#include <concepts>
#include <functional>

namespace orx::testing {

// A forked child that runs `work` and exits with its result, or with 0 when it returns nothing. It
// ends with _exit(), so none of the test's destructors run in it. The destructor kills a child that
// still runs.
class ChildProcess {
 public:
  explicit ChildProcess(const std::function<int()>& work);
  template <std::invocable Work>
  requires std::is_void_v<std::invoke_result_t<Work>>
  explicit ChildProcess(Work work)
      : ChildProcess(std::function<int()>([&work] {
          work();
          return 0;
        })) {}
  ChildProcess(const ChildProcess&) = delete;
  ChildProcess& operator=(const ChildProcess&) = delete;
  ~ChildProcess();

  pid_t id() const { return process_; }
  // Waits for the child's end: its exit status, or minus the number of the signal that ended it. A
  // child that takes too long is killed.
  int wait();
  void kill(int signal);

 private:
  pid_t process_;
};

}  // namespace orx::testing
