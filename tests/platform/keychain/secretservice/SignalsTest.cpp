// SPDX-License-Identifier: MIT
// GIO ignores SIGPIPE for the whole process. The host's handling of signals must stay as it was.

#include <pthread.h>
#include <signal.h>
#include <unistd.h>

#include <atomic>
#include <cstdlib>
#include <fstream>
#include <thread>

#include "platform/keychain/secretservice/FakeBus.h"
#include "platform/keychain/secretservice/SecretServiceConnection.h"
#include "platform/keychain/secretservice/ServiceFixture.h"
#include "support/Await.h"
#include "support/SignalStorm.h"
#include "support/SlowFiles.h"

namespace orx {

using namespace platform;
namespace {

using testing::FakeBus;
using testing::KeychainOperation;

std::string textOf(const sigset_t& set) {
  std::string text;
  for (int signal = 1; signal <= SIGRTMAX; ++signal) {
    if (sigismember(&set, signal) == 1) text += " " + std::to_string(signal);
  }
  return text;
}

// The process's action for each signal and this thread's signal mask, as text to compare.
std::string stateOfSignals() {
  std::string text;
  for (int signal = 1; signal <= SIGRTMAX; ++signal) {
    struct sigaction action {};
    // The C library reserves two signals, for which sigaction() fails.
    if (sigaction(signal, nullptr, &action) != 0) continue;
    text += std::to_string(signal) + ": " +
            std::to_string(reinterpret_cast<std::uintptr_t>(action.sa_handler)) + " " +
            std::to_string(action.sa_flags) + textOf(action.sa_mask) + "\n";
  }
  sigset_t mask;
  pthread_sigmask(SIG_BLOCK, nullptr, &mask);
  return text + "blocked:" + textOf(mask);
}

class Signals : public testing::ServiceFixture {
 protected:
  // SIGPIPE ends the test process, so a SIGPIPE that the library lets through fails the test.
  Signals() { signal(SIGPIPE, SIG_DFL); }

  void expectRoundTrip() {
    EXPECT_EQ(run(KeychainOperation::Add).status, errSecSuccess);
    EXPECT_EQ(read().bytes, "new");
    EXPECT_EQ(run(KeychainOperation::Delete).status, errSecSuccess);
  }

  // Runs a search on this thread, where SIGPIPE is not blocked; nor is it on the thread that GIO
  // starts. Returns the reason of the failure.
  static std::optional<SecretServiceFailure::Kind> failureOfASearch() {
    try {
      requireSecretServiceLibrary();
      const auto call =
          std::make_shared<SecretServiceCall>(std::chrono::steady_clock::now() + testing::patience);
      const PromptRules noPrompts;
      SecretServiceConnection connection(getenv("DBUS_SESSION_BUS_ADDRESS"), call, noPrompts);
      connection.search({.service = "com.example.service", .account = ""});
      return std::nullopt;
    } catch (const SecretServiceFailure& failure) {
      return failure.kind;
    }
  }
  std::filesystem::path fakeBus() {
    auto path = home.path() / "fake";
    setenv("DBUS_SESSION_BUS_ADDRESS", ("unix:path=" + path.string()).c_str(), 1);
    return path;
  }
};

TEST_F(Signals, AreAfterARoundTripWhatTheyWereBefore) {
  startEmpty("");
  const auto before = stateOfSignals();
  expectRoundTrip();
  EXPECT_EQ(stateOfSignals(), before);
}

TEST_F(Signals, KeepTheHandlersOfTheHost) {
  startEmpty("");
  static std::atomic<int> handled{0};
  struct sigaction own {};
  own.sa_sigaction = [](int, siginfo_t*, void*) { ++handled; };
  own.sa_flags = SA_SIGINFO | SA_RESTART | SA_ONSTACK;
  sigaddset(&own.sa_mask, SIGTERM);
  for (const int signal : {SIGPIPE, SIGCHLD, SIGUSR1, SIGTERM, SIGRTMIN}) {
    sigaction(signal, &own, nullptr);
  }
  const auto before = stateOfSignals();
  expectRoundTrip();
  EXPECT_EQ(stateOfSignals(), before);
  raise(SIGPIPE);
  EXPECT_EQ(handled, 1);
}

TEST_F(Signals, AreWhatTheyWereWhenManyThreadsAreTheFirstToUseTheKeyring) {
  startWithItem("");
  const auto before = stateOfSignals();
  testing::Event begin;
  std::vector<std::thread> threads;
  threads.reserve(8);
  for (int i = 0; i < 8; ++i) {
    threads.emplace_back([&] {
      EXPECT_TRUE(begin.wait());
      EXPECT_EQ(read().bytes, "old");
    });
  }
  begin.set();
  for (auto& thread : threads) thread.join();
  EXPECT_EQ(stateOfSignals(), before);
}

TEST_F(Signals, FromOutsideReachNoThreadThatUsingTheKeyringStarts) {
  startWithItem("");
  EXPECT_EQ(read().bytes, "old");
  int threads = 0;
  for (const auto& task : std::filesystem::directory_iterator("/proc/self/task")) {
    if (task.path().filename() == std::to_string(getpid())) continue;
    std::ifstream status(task.path() / "status");
    for (std::string line; std::getline(status, line);) {
      if (!line.starts_with("SigBlk:")) continue;
      ++threads;
      const auto blocked = std::stoull(line.substr(7), nullptr, 16);
      for (const int signal : {SIGPIPE, SIGTERM, SIGCHLD, SIGUSR1}) {
        EXPECT_NE(blocked & (1ULL << static_cast<unsigned>(signal - 1)), 0U) << signal;
      }
    }
  }
  EXPECT_GT(threads, 0);
}

TEST_F(Signals, DoNotComeFromABusThatDiesInMidCall) {
  startWithItem("SearchItems silent");
  std::thread killer([&] {
    EXPECT_TRUE(testing::eventually([&] { return service.calls("SearchItems") > 0; }));
    bus->kill();
  });
  EXPECT_EQ(failureOfASearch(), failures::Died);
  killer.join();
}

TEST_F(Signals, DoNotComeFromABusThatNoLongerReadsInTheMiddleOfTheWelcome) {
  const FakeBus deaf(fakeBus(),
                     {{.heard = "AUTH\r\n", .said = "REJECTED EXTERNAL\r\n", .isDeaf = true}});
  EXPECT_EQ(failureOfASearch(), failures::BusUnusable);
}

TEST_F(Signals, DoNotComeFromABusThatNoLongerReadsAfterTheWelcome) {
  // The reply to Hello, as D-Bus encodes it: a header that names the call it answers, then the
  // client's name as text.
  using namespace std::string_literals;
  const auto name = "l\2\1\1\x09\0\0\0\1\0\0\0\x0f\0\0\0"s + "\5\1u\0\1\0\0\0\x08\1g\0\1s\0\0"s +
                    "\4\0\0\0:1.1\0"s;
  const FakeBus deaf(fakeBus(),
                     {{.heard = "AUTH\r\n", .said = "REJECTED EXTERNAL\r\n"},
                      {.heard = "AUTH EXTERNAL", .said = "OK 0123456789abcdef0123456789abcdef\r\n"},
                      {.heard = "NEGOTIATE_UNIX_FD\r\n", .said = "ERROR\r\n"},
                      {.heard = "Hello", .said = name, .isDeaf = true}});
  EXPECT_EQ(failureOfASearch(), failures::Died);
}

TEST_F(Signals, ThatComeFasterThanSystemCallsEndChangeNothing) {
  startEmpty("");
  testing::withSlowFiles(std::chrono::milliseconds(1), [&] {
    const testing::SignalStorm storm;
    for (int i = 0; i < 3; ++i) expectRoundTrip();
  });
  EXPECT_GT(testing::SignalStorm::caught(), 0);
}

}  // namespace
}  // namespace orx
