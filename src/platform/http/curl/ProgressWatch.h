#pragma once

#include <chrono>
#include <list>
#include <map>
#include <optional>

namespace orx::platform {

// Tells which transfers have made no progress for too long. Noting progress costs a few
// instructions and no system call. Used by one thread.
class ProgressWatch {
 public:
  using Clock = std::chrono::steady_clock;
  class Watched;

  // Takes the time that counts for everything noted until the next turn.
  void beginTurn() { now_ = Clock::now(); }

  void add(Watched& watched, std::chrono::milliseconds limit);
  void noteProgress(Watched& watched);
  void remove(Watched& watched);

  // One that is overdue, or null. It stays watched.
  Watched* overdue() const;
  // How long nobody can become overdue, from this turn's time; absent when nobody is watched.
  std::optional<std::chrono::milliseconds> quietTime() const;

 private:
  // In the order of their last progress, for each limit.
  using Queue = std::list<Watched*>;
  std::map<std::chrono::milliseconds, Queue> queues_;
  Queue free_;  // places without anybody, for the next ones
  Clock::time_point now_ = Clock::now();
};

class ProgressWatch::Watched {
 private:
  friend class ProgressWatch;
  Queue* queue_ = nullptr;
  Queue::iterator place_;
  Clock::time_point lastProgress_;
};

}  // namespace orx::platform
