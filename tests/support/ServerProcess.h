// SPDX-License-Identifier: MIT
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "support/ChildProcess.h"
#include "support/TLSTestServer.h"

namespace orx::testing {

// A TLSTestServer in a process of its own: in the test's process, a fork would copy locks that the
// server's threads hold. Make it before any other thread exists, because it forks itself.
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
