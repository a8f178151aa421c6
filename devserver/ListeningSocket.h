// SPDX-License-Identifier: MIT
#pragma once

#include <filesystem>
#include <string>

namespace orx::devserver {

// A socket that listens; it is closed with this object unless it has been released. Its makers
// throw std::runtime_error that names the place and the system's reason.
class ListeningSocket {
 public:
  // At an IP address; port 0 lets the system choose.
  static ListeningSocket atAddress(const std::string& address, int port);
  // A Unix socket that this user alone can connect to. What a process that has died left there is
  // replaced; one that somebody listens on, and any other file, is not.
  static ListeningSocket atPath(const std::filesystem::path& path);

  ListeningSocket(ListeningSocket&& other) noexcept : handle_(other.release()) {}
  ~ListeningSocket();

  // Of an address.
  int port() const;
  int handle() const { return handle_; }
  int release();

 private:
  explicit ListeningSocket(int family);

  int handle_;
};

bool isIPAddress(const std::string& text);
// Whether it is an IP address that only this machine can reach.
bool isLoopback(const std::string& text);

}  // namespace orx::devserver
