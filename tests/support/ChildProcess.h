#pragma once

#include <sys/types.h>

#include <concepts>
#include <functional>

namespace orx::testing {

// A forked child that runs `work` and ends with its result as exit status, 0 when it gives none (it
// runs no destructors of the test). Killed when this object goes and it still runs.
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

  // The exit status; minus the signal's number when one ended it, or when it took too long and was
  // killed for it.
  int wait();
  void kill(int signal);

 private:
  pid_t process_;
};

}  // namespace orx::testing
