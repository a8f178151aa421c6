#pragma once

#include <chrono>
#include <deque>
#include <memory>
#include <optional>
#include <span>
#include <vector>

#include "platform/http/curl/Transfer.h"
#include "platform/http/curl/TransferHandles.h"

namespace orx::platform {

// libcurl at work on all transfers. Connections, TLS sessions and the parsed certificate
// authorities are shared by all of them. Used by one thread at a time, wake() apart.
class TransferLoop {
 public:
  TransferLoop() = default;
  TransferLoop(const TransferLoop&) = delete;
  TransferLoop& operator=(const TransferLoop&) = delete;

  // False when the system has no memory or descriptors for it. To be called before anything else,
  // and again after it has failed.
  bool open();
  // In the child of a fork: lets go of the parent's connections without a word on them. Nothing may
  // be called afterwards.
  void abandon();

  // Takes new transfers out of the list, to begin a few of them in each turn.
  void take(std::vector<std::unique_ptr<Transfer>>& transfers);
  // Waits until a connection is ready, a time is over, or somebody wakes it up; not at all when
  // `isUrgent`.
  void wait(bool isUrgent);
  // Moves everything on for which wait() has found something, and reports what has ended.
  void turn();
  // From any thread.
  void wake() const { surroundings_.events.wake(); }

 private:
  using Clock = std::chrono::steady_clock;

  static int watchSocket(void* easy, int descriptor, int what, void* self, void* unused) noexcept;
  static int setTimer(void* multi, long milliseconds, void* self) noexcept;
  std::chrono::milliseconds longestWait() const;
  void beginSome();
  void begin(std::unique_ptr<Transfer> transfer);
  void moveOn();
  void catchUp();
  void collectFinished(void* multi);
  void run(Transfer& transfer);
  void end(Transfer* transfer, int code);
  void* multiOf(const Transfer& transfer) const;

  void* share_ = nullptr;
  // Of HTTP/1.1: libcurl is told which connection is ready, and looks at no other.
  void* multi_ = nullptr;
  // Of HTTP/2: libcurl looks at them all itself. Told of single connections it leaves an answer
  // unread now and then that came before the request had left entirely.
  void* multiOfHTTP2_ = nullptr;
  std::size_t running_ = 0;
  std::size_t runningOverHTTP2_ = 0;
  // When libcurl wants to be called though no connection is ready.
  std::optional<Clock::time_point> timer_;
  std::deque<std::unique_ptr<Transfer>> waiting_;
  std::span<const SocketEvents::Event> ready_;

  TransferSurroundings surroundings_;
  TransferHandles handles_{surroundings_};
};

}  // namespace orx::platform
