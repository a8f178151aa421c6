// SPDX-License-Identifier: MIT
#pragma once

#include <condition_variable>
#include <mutex>
#include <string>
#include <thread>

namespace tool {

// Tells on standard error, where that is a terminal, what the program has been waiting for and for
// how long, once it has waited for a second. The line is gone when this ends. One at a time.
class Progress {
 public:
  explicit Progress(std::string what);
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;
  ~Progress();

  // Takes the line away, if one is shown, before something else is written to standard error; it
  // comes again within a second. From any thread.
  static void clear();

 private:
  void show();

  std::string what_;
  std::mutex mutex_;
  std::condition_variable change_;
  bool ended_ = false;
  std::thread thread_;
};

}  // namespace tool
