// SPDX-License-Identifier: MIT
#pragma once

#include <sys/types.h>

#include <chrono>
#include <cstdint>
#include <string>

#include "support/TemporaryDirectory.h"

namespace orx::bench {

// A process that answers each HTTPS request after a fixed time, over any number of connections.
// Make it before other threads run, because it forks.
class SlowServer {
 public:
  SlowServer(const std::string& host, const std::string& answer, std::chrono::milliseconds delay);
  SlowServer(const SlowServer&) = delete;
  SlowServer& operator=(const SlowServer&) = delete;
  ~SlowServer();

  std::uint16_t port() const { return port_; }
  std::string caFile() const { return (directory_ / "ca.pem").string(); }

 private:
  testing::TemporaryDirectory directory_;
  std::uint16_t port_ = 0;
  pid_t process_ = -1;
};

}  // namespace orx::bench
