// SPDX-License-Identifier: MIT
// What a call left behind in a connection on which it failed never reaches the next call.
#include <gtest/gtest.h>

#include <cerrno>
#include <climits>
#include <cstring>
#include <map>
#include <string>
#include <tuple>

#include "support/Call.h"
#include "support/FailingCalls.h"
#include "support/TLSTestServer.h"

namespace orx::testing {

using namespace platform;
namespace {

using Answer = TLSTestServer::Answer;
using End = TLSTestServer::End;
using Function = FailingCalls::Function;
using Request = TLSTestServer::Request;

const std::vector<std::string> hosts{"one.example"};

// Answers with the number of the question.
Answer echo(const Request& request) {
  return Answer::reply(200, request.body.substr(0, request.body.find(' ')));
}

// Questions with numbers, and what came of them.
class Conversation {
 public:
  explicit Conversation(bool hasMixedSizes) : hasMixedSizes_(hasMixedSizes) {}

  URLRequest nextQuestion() {
    const std::size_t size = hasMixedSizes_ ? 20 + 37U * (next_ * 7 % 10) : 40;
    std::string body = std::to_string(next_++) + ' ';
    body.resize(size, 'x');
    return postRequest("https://one.example/", std::move(body));
  }
  int last() const { return next_ - 1; }

  // One outcome is the answer to its own question or an error; anything else fails the test.
  void take(int number, const Outcome& outcome) {
    if (outcome.error) {
      ++failures_;
    } else {
      answered_[number] = true;
      EXPECT_EQ(outcome.text(), std::to_string(number));
    }
  }
  int takeFailures() { return std::exchange(failures_, 0); }

  // No question arrived twice, and those that were answered did arrive.
  void compareWith(const TLSTestServer& server) const {
    std::map<int, int> arrivals;
    for (const auto& request : server.requests()) ++arrivals[std::stoi(request.body)];
    for (const auto& [number, count] : arrivals) EXPECT_EQ(count, 1) << number;
    for (const auto& [number, _] : answered_) EXPECT_EQ(arrivals.count(number), 1U) << number;
  }

 private:
  const bool hasMixedSizes_;
  int next_ = 1000;
  int failures_ = 0;
  std::map<int, bool> answered_;
};

using Case = std::tuple<Function, int, bool>;

class FailedConnection : public ::testing::TestWithParam<Case> {};

std::string nameOf(const ::testing::TestParamInfo<Case>& info) {
  const auto [function, error, hasMixedSizes] = info.param;
  return std::string(function == Function::send ? "Send" : "Recv") + strerrorname_np(error) +
         (hasMixedSizes ? "MixedSizes" : "EqualSizes");
}

INSTANTIATE_TEST_SUITE_P(Calls, FailedConnection,
                         ::testing::Combine(::testing::Values(Function::send, Function::recv),
                                            ::testing::Values(ENOBUFS, ENOMEM, ECONNRESET),
                                            ::testing::Bool()),
                         nameOf);

TEST_P(FailedConnection, GivesNobodyTheAnswerToTheQuestionOfAnother) {
  const auto [function, error, hasMixedSizes] = GetParam();
  TLSTestServer server(hosts, echo);
  Conversation conversation(hasMixedSizes);
  constexpr int questions = 4;
  for (unsigned at = 1;; ++at) {
    server.dropConnections(End::cut);
    ASSERT_TRUE(eventually([&] { return server.openConnectionCount() == 0; }));
    const FailingCalls failing(function, error, at, at);
    for (int i = 0; i < questions; ++i) {
      const auto outcome = call(server.configuration(), conversation.nextQuestion());
      conversation.take(conversation.last(), outcome);
    }
    EXPECT_LE(conversation.takeFailures(), 1) << "of calls around the failed one, number " << at;
    if (failing.count() < at) break;
  }
  conversation.compareWith(server);
}

TEST_P(FailedConnection, GivesNobodyTheAnswerOfAnotherAmongManyCalls) {
  const auto [function, error, hasMixedSizes] = GetParam();
  TLSTestServer server(hosts, echo);
  Conversation conversation(hasMixedSizes);
  constexpr int questions = 200;
  Mailbox<std::pair<int, Outcome>> outcomes;
  const auto ask = [&] {
    auto question = conversation.nextQuestion();
    start(server.configuration(), std::move(question),
          [&outcomes, number = conversation.last()](const TransferOutcome& outcome) {
            outcomes.put({number, {outcome}});
          });
  };
  const FailingCalls failing(function, error, 7, UINT_MAX, 7);
  for (int i = 0; i < 8; ++i) ask();
  for (int i = 0; i < questions; ++i) {
    const auto [number, outcome] = outcomes.take();
    conversation.take(number, outcome);
    if (i + 8 < questions) ask();
  }
  conversation.compareWith(server);
  EXPECT_GT(conversation.takeFailures(), 0);
}

}  // namespace
}  // namespace orx::testing
