// SPDX-License-Identifier: MIT
#pragma once

#include <memory>

#include "Contestant.h"
#include "Scenarios.h"
#include "support/NginxServer.h"

namespace orx::bench {

// The nginx that all calls go to, and the call that each contestant makes. The constructor points
// the library's default configuration at this server.
class BenchServer {
 public:
  BenchServer();

  const Work& work() const { return work_; }

 private:
  testing::NginxServer nginx_;
  testing::TemporaryDirectory directory_;
  Work work_;
};

// The call, to a server on this port.
Work workAt(std::uint16_t port, const std::string& caFile);
// Points the library's default configuration at the server of another process: `port` and `ca`.
void reachServer(const Settings& settings);

// An answer of about 1 KB, as the service gives it to a sign-in.
std::string soapAnswer();

}  // namespace orx::bench
