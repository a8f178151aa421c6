// SPDX-License-Identifier: MIT
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <deque>
#include <functional>
#include <mutex>
#include <stdexcept>
#include <utility>

namespace orx::testing {

// The longest wait for an event that must come. Only a failing test waits this long.
inline constexpr std::chrono::seconds patience{30};

// A queue between threads: callbacks put values in, and the test takes them out in the order of
// their arrival. It must outlive every thread that may still call put().
template <typename T>
class Mailbox {
 public:
  void put(T value) {
    const std::lock_guard lock(mutex_);
    values_.push_back(std::move(value));
    // Notify under the lock: after it, the taker may already have destroyed the mailbox.
    changed_.notify_all();
  }

  // Waits for the oldest value; throws when none comes in time.
  T take(std::chrono::milliseconds limit = patience) {
    std::unique_lock lock(mutex_);
    if (!changed_.wait_for(lock, limit, [this] { return !values_.empty(); })) {
      throw std::runtime_error("nothing came in time");
    }
    T value = std::move(values_.front());
    values_.pop_front();
    return value;
  }

  // The number of values that have not been taken.
  std::size_t count() const {
    const std::lock_guard lock(mutex_);
    return values_.size();
  }

 private:
  mutable std::mutex mutex_;
  std::condition_variable changed_;
  std::deque<T> values_;
};

// A gate that opens once and stays open.
class Event {
 public:
  void set() {
    const std::lock_guard lock(mutex_);
    isSet_ = true;
    changed_.notify_all();
  }
  bool isSet() const {
    const std::lock_guard lock(mutex_);
    return isSet_;
  }
  // False when it does not open in time.
  [[nodiscard]] bool wait(std::chrono::milliseconds limit = patience) const {
    std::unique_lock lock(mutex_);
    return changed_.wait_for(lock, limit, [this] { return isSet_; });
  }

 private:
  mutable std::mutex mutex_;
  mutable std::condition_variable changed_;
  bool isSet_ = false;
};

// Polls a condition that no event announces; false when it does not hold in time.
[[nodiscard]] bool eventually(const std::function<bool()>& condition,
                              std::chrono::milliseconds limit = patience);

}  // namespace orx::testing
