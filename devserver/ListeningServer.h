// SPDX-License-Identifier: MIT
#pragma once

#include <httplib.h>
#include <signal.h>

#include <mutex>
#include <thread>

#include "devserver/ListeningSocket.h"

namespace orx::devserver {

// The HTTP library's server ignores SIGPIPE in the whole process from its constructor on. This
// keeps what the host has chosen, and keeps two that are made at the same time from taking each
// other's for it.
class SignalDisposition {
 protected:
  SignalDisposition() : lock_(mutex()) { sigaction(SIGPIPE, nullptr, &chosen_); }
  void restore() {
    sigaction(SIGPIPE, &chosen_, nullptr);
    lock_.unlock();
  }

 private:
  static std::mutex& mutex() {
    static std::mutex shared;
    return shared;
  }

  std::unique_lock<std::mutex> lock_;
  struct sigaction chosen_ {};
};

// The HTTP library's server on a socket that listens already, with the thread that accepts.
class ListeningServer : private SignalDisposition, public httplib::Server {
 public:
  ListeningServer() { restore(); }
  // A derived class calls finish() first: its members are gone here while threads may use them.
  ~ListeningServer() override { finish(); }

  // Returns when it accepts.
  void serve(ListeningSocket socket);
  // Takes no new connections and returns when every thread has ended.
  void finish();

 private:
  std::thread listener_;
};

}  // namespace orx::devserver
