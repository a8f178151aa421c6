// SPDX-License-Identifier: MIT
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "BenchServer.h"
#include "LibraryCalls.h"
#include "Measure.h"
#include "Scenarios.h"
#include "support/Relay.h"

namespace orx::bench {
namespace {

// Runs this program once more: only a new process makes its first call.
void runProcess(const std::vector<std::string>& texts) {
  std::vector<char*> arguments;
  arguments.reserve(texts.size() + 1);
  for (const auto& text : texts) arguments.push_back(const_cast<char*>(text.c_str()));
  arguments.push_back(nullptr);
  std::fflush(stdout);
  pid_t process = -1;
  const int failed =
      posix_spawn(&process, "/proc/self/exe", nullptr, nullptr, arguments.data(), environ);
  int status = -1;
  if (failed == 0) waitpid(process, &status, 0);
  if (status != 0) throw std::runtime_error("the process that signs in has failed");
}

}  // namespace

void signIn(const Settings& settings) {
  const long rounds = settings.number("rounds", 5);
  const std::chrono::milliseconds eachWay(settings.number("way", 50));
  const BenchServer server;
  const testing::Relay relay(server.work().port, eachWay);
  for (long round = 0; round < rounds; ++round) {
    for (const char* prepared : {"0", "1"}) {
      runProcess({"orx_bench", "signInOnce", "port=" + std::to_string(relay.port()),
                  "ca=" + server.work().caFile, std::string("prepared=") + prepared});
    }
  }
}

void signInOnce(const Settings& settings) {
  reachServer(settings);
  const bool prepared = settings.number("prepared", 0) != 0;
  if (prepared) {
    ORVAAccountAPI::prepareConnection();
    // As long as a person takes to type a password.
    std::this_thread::sleep_for(std::chrono::seconds(1));
  }
  const auto times = makeLibraryCalls(loginCall(), 1, 6);
  std::printf("{\"prepared\":%s,\"times\":[", prepared ? "true" : "false");
  for (std::size_t call = 0; call < times.size(); ++call) {
    std::printf("%s%.2f", call == 0 ? "" : ",", times[call] / 1000);
  }
  std::printf("]}\n");
}

}  // namespace orx::bench
