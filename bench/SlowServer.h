#pragma once

#include <sys/types.h>

#include <chrono>
#include <cstdint>
#include <string>

#include "support/TemporaryDirectory.h"

namespace orx::bench {

// A process of its own that takes HTTPS requests, over any number of connections, and answers each
// after a fixed time. To be made before other threads run.
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
