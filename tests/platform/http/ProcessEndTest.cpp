// SPDX-License-Identifier: MIT
// exit() with any number of calls on their way, from any thread.
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>
#include <thread>

#include "support/Call.h"
#include "support/ChildProcess.h"
#include "support/ServerProcess.h"

namespace orx::testing {

using namespace platform;
namespace {

constexpr int fine = 7;

enum class From { mainThread, ownThread, handler };

struct Case {
  From from;
  int inFlight;
  const char* name;
};

class ProcessEnd : public ::testing::TestWithParam<Case> {
 protected:
  // Half of them are answered while the process ends; their handlers do some work.
  void startCalls(int count) {
    for (int i = 0; i < count; ++i) {
      start(server_.configuration(),
            getRequest(i % 2 == 0 ? "https://one.example/" : "https://one.example/stall"),
            [](const auto&) { std::this_thread::sleep_for(std::chrono::milliseconds(1)); });
    }
  }

  [[noreturn]] void endProcess() {
    const Case& wanted = GetParam();
    startCalls(wanted.inFlight);
    switch (wanted.from) {
      case From::mainThread:
        exit(fine);
      case From::ownThread:
        std::thread([] { exit(fine); }).detach();
        break;
      case From::handler:
        start(server_.configuration(), getRequest("https://one.example/"),
              [](const auto&) { exit(fine); });
        break;
    }
    for (;;) pause();
  }

  ServerProcess server_{{"one.example"}, [](const TLSTestServer::Request& request) {
                          return request.target == "/stall" ? TLSTestServer::Answer::silence()
                                                            : TLSTestServer::Answer::reply(200);
                        }};
};

// How often each case runs; ORX_TORTURE_RUNS makes it more.
int runs() {
  const char* wanted = std::getenv("ORX_TORTURE_RUNS");
  return wanted != nullptr ? std::atoi(wanted) : 3;
}

TEST_P(ProcessEnd, IsQuickAndClean) {
  for (int run = 0; run < runs(); ++run) {
    ChildProcess child([this] { endProcess(); });
    ASSERT_EQ(child.wait(), fine) << "in run " << run;
  }
}

INSTANTIATE_TEST_SUITE_P(Cases, ProcessEnd,
                         ::testing::Values(Case{From::mainThread, 0, "FromMainIdle"},
                                           Case{From::mainThread, 1, "FromMainWithOneCall"},
                                           Case{From::mainThread, 200, "FromMainWithManyCalls"},
                                           Case{From::ownThread, 0, "FromAThreadIdle"},
                                           Case{From::ownThread, 1, "FromAThreadWithOneCall"},
                                           Case{From::ownThread, 200, "FromAThreadWithManyCalls"},
                                           Case{From::handler, 0, "FromAHandlerAlone"},
                                           Case{From::handler, 1, "FromAHandlerWithOneCall"},
                                           Case{From::handler, 200, "FromAHandlerWithManyCalls"}),
                         [](const auto& each) { return each.param.name; });

}  // namespace
}  // namespace orx::testing
