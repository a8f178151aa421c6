// SPDX-License-Identifier: MIT
// A plug-in whose constructor makes a first call, while the first call of another thread waits for
// the dynamic linker, which that constructor keeps.
#include <ORXAccount/ORXAccount.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <fstream>
#include <string>
#include <thread>

namespace {

// Where nobody listens, so that libcurl looks for no name: it has a thread for that, which the end
// of the program would find running.
void call() {
  orx::URLSessionConfiguration configuration;
  configuration.setConnectTo(ORX_TEST_GLOBAL_HOST, {"127.0.0.1", 1});
  configuration.setProxy("");
  orx::URLSessionConfiguration::setDefaultConfiguration(configuration);
  orx::ORVAAccountAPI::prepareConnection();
}

bool sleeps(pid_t thread) {
  std::ifstream file("/proc/self/task/" + std::to_string(thread) + "/stat");
  std::string line;
  std::getline(file, line);
  // The line begins "ID (NAME) STATE"; state S is sleeping.
  return line.find(") S") != std::string::npos;
}

class FirstCalls {
 public:
  FirstCalls() {
    // Ends the program where the two wait for each other.
    alarm(20);
    while (other_ == 0 || !sleeps(other_)) std::this_thread::yield();
    call();
  }

 private:
  std::atomic<pid_t> other_ = 0;
  const std::jthread thread_{[this] {
    other_ = gettid();
    call();
  }};
};

// Its end waits for the other thread's call.
const FirstCalls calls;

}  // namespace
