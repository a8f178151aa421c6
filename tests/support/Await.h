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

// How long a test waits for what must come. Reached only by a test that fails.
inline constexpr std::chrono::seconds patience{30};

// Outcomes that other threads hand in and the test takes out, in the order of their coming. It must
// outlive whoever may still put something in.
template <typename T>
class Mailbox {
 public:
  void put(T value) {
    const std::lock_guard lock(mutex_);
    values_.push_back(std::move(value));
    // Under the lock, so that a mailbox may go as soon as its last value was taken.
    changed_.notify_all();
  }

  // The oldest one; throws when none comes in time.
  T take(std::chrono::milliseconds limit = patience) {
    std::unique_lock lock(mutex_);
    if (!changed_.wait_for(lock, limit, [this] { return !values_.empty(); })) {
      throw std::runtime_error("nothing came in time");
    }
    T value = std::move(values_.front());
    values_.pop_front();
    return value;
  }

  // Those that lie here untaken.
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

// Waits until a condition that nothing announces holds; false when it does not in time.
[[nodiscard]] bool eventually(const std::function<bool()>& condition,
                              std::chrono::milliseconds limit = patience);

}  // namespace orx::testing
