// SPDX-License-Identifier: MIT
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <list>
#include <mutex>
#include <string>
#include <thread>

#include "support/LoopbackListener.h"

namespace orx::testing {

// An HTTP proxy on loopback. Every CONNECT gets a tunnel to the same port, whatever host it names.
class ConnectProxy {
 public:
  // `reply` is what it answers before the tunnel begins.
  explicit ConnectProxy(std::uint16_t target, std::string reply = "HTTP/1.1 200 Connected\r\n\r\n");
  // Cuts all tunnels.
  ~ConnectProxy();
  ConnectProxy(const ConnectProxy&) = delete;
  ConnectProxy& operator=(const ConnectProxy&) = delete;

  std::string url() const { return "http://127.0.0.1:" + std::to_string(listener_.port()); }
  // What the last client asked for, header fields included.
  std::string lastHead() const {
    const std::lock_guard lock(mutex_);
    return lastHead_;
  }
  std::size_t tunnelCount() const { return tunnelCount_; }
  std::size_t openTunnelCount() const { return openTunnelCount_; }

 private:
  void accept();
  void serve(int client);
  int connectToTarget() const;
  // Remembers a descriptor for the destructor to shut down and close, and returns it. Passes -1
  // through.
  int kept(int descriptor);

  const LoopbackListener listener_;
  const std::uint16_t target_;
  const std::string reply_;
  std::atomic<std::size_t> tunnelCount_{0};
  std::atomic<std::size_t> openTunnelCount_{0};
  mutable std::mutex mutex_;
  std::string lastHead_;
  std::list<int> descriptors_;
  std::list<std::thread> tunnels_;
  std::thread acceptor_;
};

}  // namespace orx::testing
