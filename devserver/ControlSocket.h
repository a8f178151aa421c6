// SPDX-License-Identifier: MIT
#pragma once

#include <filesystem>
#include <memory>

#include "devserver/Router.h"

namespace orx::devserver {

// HTTP on a Unix socket that steers a running service. The rights of the socket's file keep other
// users out, and no web page or network can reach it.
class ControlSocket {
 public:
  // Ready when it returns. Throws std::runtime_error when the socket cannot be had.
  ControlSocket(const std::filesystem::path& path, Router& router);
  ControlSocket(const ControlSocket&) = delete;
  ControlSocket& operator=(const ControlSocket&) = delete;
  // Returns when every thread has ended; removes the socket's file.
  ~ControlSocket();

 private:
  class Server;
  std::filesystem::path path_;
  std::unique_ptr<Server> server_;
};

}  // namespace orx::devserver
