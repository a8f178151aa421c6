// SPDX-License-Identifier: MIT
// What the library's threads mean for the process that hosts them: its end, its forks, its signals.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <thread>

#include "platform/queues/OperationQueue.h"
#include "platform/queues/WorkerPool.h"
#include "support/Call.h"
#include "support/LoopbackListener.h"
#include "support/PipeSignals.h"
#include "support/ServerProcess.h"

// Forking with threads about is what is tested here. The sanitizer looks for this very name.
// NOLINTNEXTLINE(bugprone-reserved-identifier)
extern "C" __attribute__((visibility("default"))) const char* __tsan_default_options() {
  return "die_after_fork=0";
}

namespace orx::testing {

using namespace platform;
namespace {

using Answer = TLSTestServer::Answer;
using End = TLSTestServer::End;
using Request = TLSTestServer::Request;

constexpr int fine = 7;
const std::string slowText(100, 's');

// Requests to /stall are never answered, /late is answered slowly and /slow for five seconds, and
// /stalled is answered as soon as a stalling one has come.
class ProcessLife : public ::testing::Test {
 protected:
  static constexpr char halfSent = 'h';
  static constexpr char allSent = 'a';
  static constexpr char hasCome = 'c';

  // Signals how far the slow answers are.
  static Answer paced(Answer answer, std::chrono::milliseconds pace, const PipeSignals& progress) {
    answer.pace = pace;
    answer.onSent = [progress, size = answer.bytes.size()](std::size_t sent) {
      if (sent == size / 2) progress.put(halfSent);
      if (sent == size) progress.put(allSent);
    };
    return answer;
  }

  static TLSTestServer::Handler handler(const PipeSignals& progress, const PipeSignals& arrivals) {
    auto stalled = std::make_shared<Event>();
    return [stalled, progress, arrivals](const Request& request) {
      if (request.target == "/stall") {
        stalled->set();
        return Answer::silence();
      }
      if (request.target == "/stalled") (void)stalled->wait();
      Answer answer = Answer::reply(200, "fine");
      if (request.target == "/late") {
        arrivals.put(hasCome);
        return paced(answer, std::chrono::milliseconds(5), progress);
      }
      if (request.target != "/slow") return answer;
      const Answer slow = Answer::reply(200, slowText);
      return paced(slow, std::chrono::milliseconds(5'000 / slow.bytes.size()), progress);
    };
  }

  static void start(const URLSessionConfiguration& configuration, const std::string& target,
                    TransferHandler handler) {
    orx::testing::start(configuration, getRequest("https://one.example" + target),
                        std::move(handler));
  }
  Outcome get(const std::string& target) {
    return call(server_.configuration(), getRequest("https://one.example" + target));
  }

  const PipeSignals progress_;
  const PipeSignals arrivals_;
  ServerProcess server_{{"one.example"}, handler(progress_, arrivals_)};
};

TEST_F(ProcessLife, EndsWithAnIdleLibrary) {
  ChildProcess child([&] {
    if (get("/").statusCode == 200) exit(fine);
  });
  EXPECT_EQ(child.wait(), fine);
}

TEST_F(ProcessLife, EndsWhileCallsWaitForTheirAnswer) {
  ChildProcess child([&] {
    for (int i = 0; i < 20; ++i) {
      start(server_.configuration(), "/stall", [](const auto&) { _exit(1); });
    }
    if (get("/stalled").statusCode == 200) exit(fine);
  });
  EXPECT_EQ(child.wait(), fine);
}

TEST_F(ProcessLife, EndsWhileCallsConnect) {
  ChildProcess child([&] {
    const LoopbackListener listener;
    auto configuration = server_.configuration();
    configuration.setConnectTo("one.example", {"127.0.0.1", listener.port()});
    for (int i = 0; i < 20; ++i) {
      start(configuration, "/", [](const auto&) { _exit(1); });
    }
    // A connection is there, its handshake never goes on.
    if (listener.awaitConnection()) exit(fine);
  });
  EXPECT_EQ(child.wait(), fine);
}

// After a debugger or a suspended shell, answers that came in time must not count as timed out.
TEST_F(ProcessLife, TakesTheAnswersThatCameWhileItStoodStill) {
  constexpr std::chrono::milliseconds limit{2'000};
  constexpr int calls = 40;  // more than are looked at in one turn
  ChildProcess child([&] {
    auto configuration = server_.configuration();
    configuration.setTimeoutIntervalForRequest(limit);
    const auto outcomes = std::make_shared<Outcomes>();
    for (int i = 0; i < calls; ++i) start(configuration, "/slow", into(outcomes));
    for (int i = 0; i < calls; ++i) {
      if (outcomes->take().text() != slowText) return 1;
    }
    return fine;
  });
  // Each half of an answer takes longer than the limit.
  ASSERT_TRUE(progress_.await(halfSent, calls));
  child.kill(SIGSTOP);
  ASSERT_TRUE(progress_.await(allSent, calls));
  child.kill(SIGCONT);
  EXPECT_EQ(child.wait(), fine);
}

TEST_F(ProcessLife, EndsWhileAHandlerBlocks) {
  ChildProcess child([&] {
    Event entered;
    start(server_.configuration(), "/", [&](const auto&) {
      entered.set();
      for (;;) pause();
    });
    if (entered.wait()) exit(fine);
  });
  EXPECT_EQ(child.wait(), fine);
}

TEST_F(ProcessLife, EndsFromWithinAHandler) {
  ChildProcess child([&] {
    for (int i = 0; i < 20; ++i) {
      start(server_.configuration(), "/late", [](const auto&) {});
    }
    start(server_.configuration(), "/", [](const auto&) { exit(fine); });
    for (;;) pause();
  });
  EXPECT_EQ(child.wait(), fine);
}

TEST_F(ProcessLife, EndsRightAfterACallWasStarted) {
  for (int i = 0; i < 10; ++i) {
    ChildProcess child([&] {
      start(server_.configuration(), "/", [](const auto&) {});
      exit(fine);
    });
    EXPECT_EQ(child.wait(), fine);
  }
}

TEST_F(ProcessLife, StartsNoHandlerOnceTheProcessEnds) {
  static constexpr int lateCalls = 5;
  static const PipeSignals* progress = &progress_;
  static Event released;
  static std::atomic<bool> ends{false};
  static Event startedLate;
  static const auto note = [] {
    if (ends) startedLate.set();
  };
  ChildProcess child([&] {
    // Registered before the library's own exit handler, so it runs after that one.
    (void)std::atexit([] {
      ends = true;
      released.set();
      if (!progress->await(allSent, lateCalls)) _exit(4);
      // There is no event to wait for when a callback does not come.
      _exit(startedLate.wait(std::chrono::milliseconds(300)) ? 1 : fine);
    });
    for (int i = 0; i < lateCalls; ++i) {
      start(server_.configuration(), "/late", [](const auto&) { note(); });
    }
    // What has not been sent when the end begins is never sent.
    if (!arrivals_.await(hasCome, lateCalls)) _exit(2);
    // An operation that runs when the end begins, and others that wait behind it.
    const auto queue = std::make_shared<OperationQueue>();
    const auto entered = std::make_shared<Event>();
    queue->addOperationWithBlock([entered] {
      entered->set();
      (void)released.wait();
    });
    if (!entered->wait()) _exit(3);
    for (int i = 0; i < 10; ++i) queue->addOperationWithBlock(note);
    exit(0);
  });
  EXPECT_EQ(child.wait(), fine);
}

// In a child that is forked beside busy threads, the address sanitizer's allocator may be locked,
// and the thread sanitizer stops when a new thread gets the stack of one that it believes to live.
// A thread that has just reported is busy for a moment more.
#if !defined(__SANITIZE_ADDRESS__)

TEST_F(ProcessLife, WorksInAChildForkedWhileIdle) {
  ASSERT_EQ(get("/").statusCode, 200);
  for (int i = 0; i < 3; ++i) {
    ChildProcess child([&] { exit(get("/").text() == "fine" ? fine : 1); });
    EXPECT_EQ(child.wait(), fine);
    EXPECT_EQ(get("/").text(), "fine");
  }
}

#endif
#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)

TEST_F(ProcessLife, WorksInChildrenForkedWhileBusy) {
  std::atomic<bool> enough{false};
  std::atomic<int> failures{0};
  std::vector<std::thread> busy;
  busy.reserve(3);
  for (int i = 0; i < 3; ++i) {
    busy.emplace_back([&] {
      while (!enough) failures += get("/").text() == "fine" ? 0 : 1;
    });
  }
  for (int i = 0; i < 15; ++i) {
    ChildProcess child([&] { _exit(get("/").text() == "fine" ? fine : 1); });
    EXPECT_EQ(child.wait(), fine);
  }
  enough = true;
  for (auto& thread : busy) thread.join();
  EXPECT_EQ(failures, 0);
}

#endif

TEST_F(ProcessLife, StartsQueuesAnewInAChild) {
  const auto queue = std::make_shared<OperationQueue>();
  Event entered;
  Event leave;
  Event ran;
  queue->addOperationWithBlock([&] {
    entered.set();
    (void)leave.wait();
  });
  queue->addOperationWithBlock([&] { ran.set(); });
  ASSERT_TRUE(entered.wait());
  ChildProcess child([&] {
    Event own;
    queue->addOperationWithBlock([&] { own.set(); });
    _exit(own.wait() && !ran.isSet() ? fine : 1);
  });
  EXPECT_EQ(child.wait(), fine);
  leave.set();
  EXPECT_TRUE(ran.wait());
}

// Destroying an operation there could wait for a lock that one of the parent's threads held.
TEST_F(ProcessLife, DestroysNoOperationOfTheParentsInAChildThatOneOfThemForks) {
  std::array<int, 2> destroyed{};
  ASSERT_EQ(pipe(destroyed.data()), 0);
  struct Noted {
    explicit Noted(int descriptor) : pipe(descriptor) {}
    Noted(const Noted&) = delete;
    Noted& operator=(const Noted&) = delete;
    ~Noted() {
      const pid_t here = getpid();
      (void)!write(pipe, &here, sizeof here);
    }
    int pipe;
  };
  auto queue = std::make_shared<OperationQueue>();
  Event gate;
  Mailbox<pid_t> children;
  queue->addOperationWithBlock([&] {
    (void)gate.wait();
    if (const pid_t child = fork(); child != 0) children.put(child);
  });
  queue->addOperationWithBlock([noted = std::make_shared<Noted>(destroyed[1])] {});
  queue = nullptr;
  gate.set();
  // The child ends with its one thread.
  waitpid(children.take(), nullptr, 0);
  pid_t where = 0;
  EXPECT_EQ(read(destroyed[0], &where, sizeof where), sizeof where);
  EXPECT_EQ(where, getpid());
  fcntl(destroyed[0], F_SETFL, O_NONBLOCK);
  EXPECT_LT(read(destroyed[0], &where, sizeof where), 0) << "destroyed a second time";
}

TEST_F(ProcessLife, BlocksSignalsFromOutsideOnItsThreadsAndLeavesTheirHandlingAlone) {
  struct sigaction before {};
  sigaction(SIGPIPE, nullptr, &before);
  auto masks = std::make_shared<Mailbox<sigset_t>>();
  start(server_.configuration(), "/", [masks](const auto&) {
    sigset_t mask;
    pthread_sigmask(SIG_BLOCK, nullptr, &mask);
    masks->put(mask);
  });
  const sigset_t mask = masks->take();
  for (const int signal : {SIGPIPE, SIGINT, SIGTERM, SIGCHLD, SIGALRM, SIGUSR1}) {
    EXPECT_EQ(sigismember(&mask, signal), 1) << signal;
  }
  for (const int fault : {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGTRAP, SIGSYS, SIGABRT}) {
    EXPECT_EQ(sigismember(&mask, fault), 0) << fault;
  }
  struct sigaction after {};
  sigaction(SIGPIPE, nullptr, &after);
  EXPECT_EQ(after.sa_handler, before.sa_handler);

  // And every other thread of the library: all but this one.
  for (const auto& task : std::filesystem::directory_iterator("/proc/self/task")) {
    if (task.path().filename() == std::to_string(getpid())) continue;
    std::ifstream status(task.path() / "status");
    for (std::string line; std::getline(status, line);) {
      if (!line.starts_with("SigBlk:")) continue;
      const auto blocked = std::stoull(line.substr(7), nullptr, 16);
      EXPECT_NE(blocked & (1ULL << (SIGPIPE - 1)), 0U);
      EXPECT_NE(blocked & (1ULL << (SIGTERM - 1)), 0U);
    }
  }
}

// A host writes its crash report in such a handler; if the signal were blocked, the process would
// end without one.
TEST_F(ProcessLife, LetsTheHostHandleAFaultInACallback) {
  void* nowhere = mmap(nullptr, 1, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  ASSERT_NE(nowhere, MAP_FAILED);
  const auto access = [nowhere] { *static_cast<volatile char*>(nowhere) = 1; };
  const auto handleFaults = [] {
    struct sigaction action {};
    action.sa_handler = [](int) { _exit(fine); };
    sigaction(SIGSEGV, &action, nullptr);
  };
  ChildProcess onAQueue([&] {
    handleFaults();
    std::make_shared<OperationQueue>()->addOperationWithBlock(access);
    return Event().wait() ? 0 : 1;
  });
  EXPECT_EQ(onAQueue.wait(), fine);
  ChildProcess inAHandler([&] {
    handleFaults();
    start(server_.configuration(), "/", [&](const auto&) { access(); });
    return Event().wait() ? 0 : 1;
  });
  EXPECT_EQ(inAHandler.wait(), fine);
  munmap(nowhere, 1);
}

// A signal for the process that only the library's threads could take, while they all work.
TEST_F(ProcessLife, LeavesSignalsForTheProcessToTheThreadsOfTheHost) {
  static std::atomic<int> caught{0};
  struct sigaction action {};
  action.sa_handler = [](int) { ++caught; };
  sigaction(SIGUSR1, &action, nullptr);
  sigset_t signals;
  sigemptyset(&signals);
  sigaddset(&signals, SIGUSR1);
  pthread_sigmask(SIG_BLOCK, &signals, nullptr);
  for (int i = 0; i < 100; ++i) {
    kill(getpid(), SIGUSR1);
    EXPECT_EQ(get("/").statusCode, 200);
  }
  EXPECT_EQ(caught, 0);
  pthread_sigmask(SIG_UNBLOCK, &signals, nullptr);
  EXPECT_EQ(caught, 1);
}

TEST_F(ProcessLife, StartsNoResolverThreadForAddresses) {
  ASSERT_EQ(get("/").statusCode, 200);
  const auto threads = [] {
    return std::distance(std::filesystem::directory_iterator("/proc/self/task"), {});
  };
  const auto before = threads();
  for (int i = 0; i < 30; ++i) {
    start(server_.configuration(), "/stall", [](const auto&) {});
  }
  ASSERT_EQ(get("/stalled").statusCode, 200);
  EXPECT_LE(threads(), before + 2);
}

}  // namespace
}  // namespace orx::testing
