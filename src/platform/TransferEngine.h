#pragma once

#include <condition_variable>
#include <memory>
#include <mutex>

#include "platform/Transfer.h"

namespace orx {

// The one thread that drives all transfers, started by the first one. Connections, TLS sessions and
// the parsed certificate authorities are shared by all of them. Never destroyed.
class TransferEngine {
 public:
  static TransferEngine& shared();

  // Takes a transfer over; its completion is called later on the transfer thread, or here when no
  // thread can be had. Cheap: at most one wake-up for any number of transfers in a row.
  void submit(std::unique_ptr<Transfer> transfer);

 private:
  struct State;

  TransferEngine();
  // Called with the inbox locked, so that a fork waits for its end.
  void initialiseLibcurl();
  // True when the thread runs; called with the inbox locked.
  bool ensureRunning();
  void run(State& state);
  void sleep(State& state);
  // When the process ends: ends the transfers and waits, for a bounded time, until libcurl is left.
  void stop();
  [[noreturn]] void park(std::unique_lock<std::mutex>& lock);

  // Held while libcurl works, so that a fork finds it, and OpenSSL, between two steps.
  std::mutex workMutex_;
  // Guards what other threads see of the state.
  std::mutex inboxMutex_;
  State* state_;
  bool libcurlIsInitialised_ = false;
  bool stopping_ = false;
  bool parked_ = false;
  std::condition_variable parkedChanged_;
};

}  // namespace orx
