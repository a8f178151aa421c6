// SPDX-License-Identifier: MIT
#pragma once

#include <ORXAccount/ORVAAccountAPI.h>

#include <condition_variable>
#include <cstddef>
#include <functional>
#include <mutex>
#include <string>
#include <vector>

namespace orx::bench {

using StartCall = std::function<void(ORVAAccountAPICompletionHandler)>;

std::shared_ptr<ORVAAccountAPI> benchAPI();
const Dictionary& benchParameters();
StartCall commonCall();
StartCall loginCall();

// Counts calls that have started and not ended. Any thread may call.
class Outstanding {
 public:
  void add();
  void remove();
  void waitForAll();

 private:
  std::mutex mutex_;
  std::condition_variable none_;
  std::size_t count_ = 0;
};

// Makes `calls` calls, `inFlight` at a time, each started by the callback of one before it. Returns
// each one's time in microseconds; throws when one gives an error.
std::vector<double> makeLibraryCalls(const StartCall& start, std::size_t inFlight,
                                     std::size_t calls);

}  // namespace orx::bench
