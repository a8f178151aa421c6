// SPDX-License-Identifier: MIT
#include "support/SignalStorm.h"

#include <signal.h>
#include <unistd.h>

#include <atomic>
#include <stdexcept>

namespace orx::testing {

namespace {

std::atomic<int> signalsCaught{0};

}  // namespace

SignalStorm::SignalStorm(std::chrono::microseconds interval) {
  struct sigaction action {};
  action.sa_handler = [](int) { ++signalsCaught; };
  sigaction(SIGUSR1, &action, nullptr);
  sigevent event{};
  event.sigev_notify = SIGEV_THREAD_ID;
  event.sigev_signo = SIGUSR1;
  event._sigev_un._tid = gettid();
  itimerspec when{};
  when.it_interval.tv_nsec = std::chrono::nanoseconds(interval).count();
  when.it_value = when.it_interval;
  if (timer_create(CLOCK_MONOTONIC, &event, &timer_) != 0 ||
      timer_settime(timer_, 0, &when, nullptr) != 0) {
    throw std::runtime_error("cannot set the timer");
  }
}

SignalStorm::~SignalStorm() { timer_delete(timer_); }

int SignalStorm::caught() { return signalsCaught; }

}  // namespace orx::testing
