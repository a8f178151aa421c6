// SPDX-License-Identifier: MIT
#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <stdexcept>

#include "Measure.h"
#include "Scenarios.h"
#include "support/TemporaryDirectory.h"

namespace orx::bench {
namespace {

// While there is one, programs that start have the library loaded.
class Preloading {
 public:
  Preloading() { setenv("LD_PRELOAD", ORX_BENCH_LIBRARY, 1); }
  Preloading(const Preloading&) = delete;
  Preloading& operator=(const Preloading&) = delete;
  ~Preloading() { unsetenv("LD_PRELOAD"); }
};

// Runs a program to its end; microseconds until it wrote its first byte.
double timeToFirstByte(const std::string& program, const char* argument) {
  int ends[2];
  if (pipe2(ends, O_CLOEXEC) != 0) throw std::runtime_error("no pipe");
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, ends[1], STDOUT_FILENO);
  std::string name = program;
  std::string text = argument != nullptr ? argument : "";
  char* arguments[] = {name.data(), argument != nullptr ? text.data() : nullptr, nullptr};

  const auto begin = Clock::now();
  pid_t process = -1;
  const int failed = posix_spawn(&process, program.c_str(), &actions, nullptr, arguments, environ);
  close(ends[1]);
  char byte = 0;
  const bool wrote = read(ends[0], &byte, 1) == 1;
  const double taken = microsecondsSince(begin);
  close(ends[0]);
  posix_spawn_file_actions_destroy(&actions);
  int status = -1;
  if (failed == 0) waitpid(process, &status, 0);
  if (status != 0 || (argument == nullptr && !wrote)) {
    throw std::runtime_error(program + " failed");
  }
  return taken;
}

}  // namespace

void restoreUsers(const Settings& settings) {
  const long rounds = settings.number("rounds", 41);
  const auto folder = std::filesystem::read_symlink("/proc/self/exe").parent_path();
  const std::string restoring = (folder / "orx_bench_restore").string();
  const std::string empty = (folder / "orx_bench_empty").string();
  const testing::TemporaryDirectory home;
  for (const char* name : {"XDG_CONFIG_HOME", "XDG_DATA_HOME", "XDG_STATE_HOME", "XDG_CACHE_HOME",
                           "XDG_RUNTIME_DIR"}) {
    setenv(name, home.path().c_str(), 1);
  }
  // No session bus, hence the file store.
  unsetenv("DBUS_SESSION_BUS_ADDRESS");
  const auto restore = [&](const char* argument) {
    const Preloading preloading;
    return timeToFirstByte(restoring, argument);
  };
  restore("store");

  std::vector<double> restored;
  std::vector<double> nothing;
  for (long round = 0; round < rounds; ++round) {
    restored.push_back(restore(nullptr));
    nothing.push_back(timeToFirstByte(empty, nullptr));
  }
  std::printf("{\"restored\":%.0f,\"empty\":%.0f}\n", median(restored), median(nothing));
}

}  // namespace orx::bench
