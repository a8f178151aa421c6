#pragma once

#include <sys/types.h>

#include <functional>

<<<<<<< HEAD
namespace orx::testing {

// A forked child that runs `work` and ends with its result as exit status (it runs no destructors
// of the test). Killed when this object goes and it still runs.
class ChildProcess {
 public:
  explicit ChildProcess(const std::function<int()>& work);
  ChildProcess(const ChildProcess&) = delete;
  ChildProcess& operator=(const ChildProcess&) = delete;
  ~ChildProcess();

  // The exit status; minus the signal's number when one ended it, or when it took too long and was
  // killed for it.
  int wait();
  void kill(int signal);

 private:
  pid_t process_;
=======
#include "support/TLSTestServer.h"

namespace orx::testing {

// A forked process that runs `body` and then ends with status 0 without any clean-up.
class ChildProcess {
 public:
  explicit ChildProcess(const std::function<void()>& body);
  // Kills what was not awaited.
  ~ChildProcess();
  ChildProcess(const ChildProcess&) = delete;
  ChildProcess& operator=(const ChildProcess&) = delete;

  // The exit status; 1000 plus the signal's number when a signal ended it, -1 when it hangs.
  int wait();

 private:
  pid_t pid_;
};

// A TLSTestServer in a process of its own, so that a test may fork without taking the server's
// threads, and what they hold, along. To be made before any thread is.
class ServerProcess {
 public:
  ServerProcess(std::vector<std::string> hosts, TLSTestServer::Handler handler);
  ~ServerProcess();

  const URLSessionConfiguration& configuration() const { return configuration_; }

 private:
  int stop_ = -1;
  std::unique_ptr<ChildProcess> process_;
  URLSessionConfiguration configuration_;
>>>>>>> transport
};

}  // namespace orx::testing
