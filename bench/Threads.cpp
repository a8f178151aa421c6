// SPDX-License-Identifier: MIT
#include "Threads.h"

#include <atomic>
#include <exception>
#include <mutex>
#include <semaphore>
#include <thread>

#include "Measure.h"

namespace orx::bench {
namespace {

// Collects times and the first failure of a run. Any thread may call.
class Collected {
 public:
  void time(const std::function<void()>& call) {
    const auto begin = Clock::now();
    try {
      call();
    } catch (...) {
      const std::lock_guard lock(mutex_);
      failure_ = std::current_exception();
    }
    const double taken = microsecondsSince(begin);
    const std::lock_guard lock(mutex_);
    times_.push_back(taken);
  }

  std::vector<double> times() {
    if (failure_) std::rethrow_exception(failure_);
    return std::move(times_);
  }

 private:
  std::mutex mutex_;
  std::vector<double> times_;
  std::exception_ptr failure_;
};

}  // namespace

std::vector<double> onKeptThreads(std::size_t inFlight, std::size_t calls,
                                  const std::function<void(std::size_t thread)>& call) {
  Collected collected;
  std::atomic<std::size_t> started{0};
  {
    std::vector<std::jthread> threads;
    threads.reserve(inFlight);
    for (std::size_t index = 0; index < inFlight; ++index) {
      threads.emplace_back([&, index] {
        while (started++ < calls) collected.time([&] { call(index); });
      });
    }
  }
  return collected.times();
}

std::vector<double> onThreadsOfTheirOwn(std::size_t inFlight, std::size_t calls,
                                        const std::function<void()>& call) {
  Collected collected;
  std::counting_semaphore<> places(static_cast<std::ptrdiff_t>(inFlight));
  for (std::size_t index = 0; index < calls; ++index) {
    places.acquire();
    std::thread([&] {
      collected.time(call);
      places.release();
    }).detach();
  }
  for (std::size_t index = 0; index < inFlight; ++index) places.acquire();
  return collected.times();
}

}  // namespace orx::bench
