#pragma once

#include <memory>
#include <string>
#include <vector>

#include "support/ChildProcess.h"
#include "support/TLSTestServer.h"

namespace orx::testing {

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
};

}  // namespace orx::testing
