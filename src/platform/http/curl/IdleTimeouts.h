#pragma once

#include <chrono>
#include <list>
#include <map>
#include <optional>

namespace orx::platform {

class Transfer;

// Tells which transfers have made no progress for too long. Each time-out value has a list in the
// order of the last progress, so only its first transfer can be the next that is overdue, and
// noting progress moves a node to the end: a few instructions, no allocation, no system call. Used
// by one thread at a time.
class IdleTimeouts {
 public:
  using Clock = std::chrono::steady_clock;

 private:
  struct Node {
    Transfer* transfer;
    Clock::time_point lastProgress;
  };
  using Queue = std::list<Node>;

 public:
  // Where a transfer stands. Default-constructed: nowhere.
  class Place {
   private:
    friend class IdleTimeouts;
    Queue* queue = nullptr;
    Queue::iterator node;
  };

  // Reads the clock; until the next time, everything counts as happening now.
  void updateNow() { now_ = Clock::now(); }

  // Its progress counts from now on.
  void add(Transfer& transfer, Place& place, std::chrono::milliseconds limit);
  // Both do nothing for a place that is nowhere.
  void noteProgress(Place& place);
  void remove(Place& place);

  // A transfer that is overdue, or null. It keeps its place.
  Transfer* overdue() const;
  // How long from now until one can become overdue; absent when there is none.
  std::optional<std::chrono::milliseconds> timeUntilNext() const;

 private:
  std::map<std::chrono::milliseconds, Queue> queues_;
  Queue free_;  // nodes without a transfer, kept for the next ones
  Clock::time_point now_ = Clock::now();
};

}  // namespace orx::platform
