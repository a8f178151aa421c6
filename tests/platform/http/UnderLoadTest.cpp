// SPDX-License-Identifier: MIT
// What must hold while many calls are on their way.
#include <gtest/gtest.h>
#include <sys/resource.h>

#include <atomic>
#include <csignal>
#include <thread>

#include "support/Call.h"
#include "support/LoopbackListener.h"
#include "support/SignalStorm.h"
#include "support/SlowFiles.h"
#include "support/TLSTestServer.h"

namespace orx::testing {

using namespace platform;
namespace {

using Answer = TLSTestServer::Answer;
using End = TLSTestServer::End;
using Request = TLSTestServer::Request;

const std::vector<std::string> hosts{"one.example", "two.example"};

// Makes so many calls, `width` at a time, each started by the handler of one before it; how many
// gave status 200.
int successesOf(const URLSessionConfiguration& configuration, int calls, int width) {
  std::atomic<int> toStart{calls};
  auto outcomes = std::make_shared<Outcomes>();
  std::function<void()> next = [&] {
    if (toStart-- <= 0) return;
    start(configuration, getRequest("https://one.example/"),
          [&next, outcomes](const auto& outcome) {
            next();
            outcomes->put({outcome});
          });
  };
  for (int i = 0; i < width; ++i) next();
  int successes = 0;
  for (int i = 0; i < calls; ++i) successes += outcomes->take().statusCode == 200 ? 1 : 0;
  return successes;
}

TEST(UnderLoad, AThousandCallsPassSixtyFourBlockedHandlers) {
  TLSTestServer server(hosts, Answer::reply(200));
  Event gate;
  Mailbox<int> entered;
  Mailbox<int> left;
  constexpr int blocked = 64;
  for (int i = 0; i < blocked; ++i) {
    start(server.configuration(), getRequest("https://one.example/"), [&](const auto&) {
      entered.put(1);
      (void)gate.wait(4 * patience);
      left.put(1);
    });
  }
  for (int i = 0; i < blocked; ++i) entered.take();
  EXPECT_EQ(successesOf(server.configuration(), 1000, 16), 1000);
  // None of the blocked ones had to leave for that.
  EXPECT_EQ(left.count(), 0U);
  gate.set();
  for (int i = 0; i < blocked; ++i) left.take();
}

TEST(UnderLoad, NoCallWaitsForTheHandshakeOfAnother) {
  TLSTestServer server(hosts, Answer::reply(200));
  const LoopbackListener mute;
  auto configuration = server.configuration();
  configuration.setConnectTo("two.example", {"127.0.0.1", mute.port()});
  auto stuck = std::make_shared<Outcomes>();
  for (int i = 0; i < 50; ++i) {
    start(configuration, getRequest("https://two.example/"), into(stuck));
  }
  ASSERT_TRUE(mute.awaitConnection());
  EXPECT_EQ(successesOf(configuration, 50, 8), 50);
  EXPECT_EQ(stuck->count(), 0U);
}

// The thread that makes the calls; those of the library are spared signals.
TEST(UnderLoad, SignalsThatInterruptTheCallerChangeNothing) {
  TLSTestServer server(hosts, Answer::reply(200));
  withSlowFiles(std::chrono::milliseconds(1), [&] {
    const SignalStorm storm;
    for (int i = 0; i < 30; ++i) {
      EXPECT_EQ(call(server.configuration(), getRequest("https://one.example/")).statusCode, 200);
    }
  });
  EXPECT_GT(SignalStorm::caught(), 0);
}

TEST(UnderLoad, PeersThatResetRaiseNoSIGPIPE) {
  struct sigaction standard {};
  standard.sa_handler = SIG_DFL;
  sigaction(SIGPIPE, &standard, nullptr);
  const std::string body(std::size_t{4} * 1024 * 1024, 'x');
  TLSTestServer server(
      hosts, [](const Request&) { return Answer::reply(200); }, CertificateFault::none,
      [](const Request&) { return TLSTestServer::HangUp{.bodyBytes = 1, .end = End::reset}; });
  for (int i = 0; i < 20; ++i) {
    const auto outcome = call(server.configuration(), postRequest("https://one.example/", body));
    EXPECT_EQ(outcome.errorCode(), NSURLErrorNetworkConnectionLost);
  }
  struct sigaction now {};
  sigaction(SIGPIPE, nullptr, &now);
  EXPECT_EQ(now.sa_handler, SIG_DFL);
}

std::chrono::microseconds processorTime() {
  rusage usage{};
  getrusage(RUSAGE_SELF, &usage);
  const auto of = [](const timeval& time) {
    return std::chrono::seconds(time.tv_sec) + std::chrono::microseconds(time.tv_usec);
  };
  return of(usage.ru_utime) + of(usage.ru_stime);
}

TEST(UnderLoad, WaitingCallsAndBlockedHandlersUseNoProcessorTime) {
  TLSTestServer server(hosts, [](const Request& request) {
    if (request.target != "/stall") return Answer::reply(200);
    return Answer{.bytes = {}, .end = End::close, .stalls = true};
  });
  Event gate;
  Mailbox<int> entered;
  Mailbox<int> left;
  for (int i = 0; i < 40; ++i) {
    const std::string target = i % 2 == 0 ? "/stall" : "/";
    start(server.configuration(), getRequest("https://one.example" + target), [&](const auto&) {
      entered.put(1);
      (void)gate.wait();
      left.put(1);
    });
  }
  for (int i = 0; i < 20; ++i) entered.take();
  server.awaitRequests(40);
  constexpr std::chrono::milliseconds watched{1000};
  const auto before = processorTime();
  std::this_thread::sleep_for(watched);
  // One thread that spins would use all of it.
  EXPECT_LT(processorTime() - before, watched / 4);
  gate.set();
  server.release();
  for (int i = 0; i < 40; ++i) left.take();
}

}  // namespace
}  // namespace orx::testing
