// SPDX-License-Identifier: MIT
// What a call left behind in a connection on which it failed never reaches the next call.
#include <cerrno>
#include <map>
#include <string>

#include "support/AccountServiceFixture.h"
#include "support/FailingCalls.h"

namespace orx {
namespace {

using namespace orx::testing;
using Function = FailingCalls::Function;

class FailedConnection : public AccountServiceFixture,
                         public ::testing::WithParamInterface<Function> {
 protected:
  static std::string numberIn(const Request& request) {
    return between(request.body, "number\":\"", "\"");
  }
};

INSTANTIATE_TEST_SUITE_P(Calls, FailedConnection, ::testing::Values(Function::send, Function::recv),
                         [](const auto& instance) {
                           return instance.param == Function::send ? "Send" : "Recv";
                         });

TEST_P(FailedConnection, GivesNoCallTheResultOfAnother) {
  answerBy([](const Request& request) {
    return Answer::reply(200, soapAnswer(resultBlock("1", numberIn(request), "Json", {})));
  });
  int number = 1000;
  for (unsigned at = 1;; ++at) {
    // libcurl keeps a fresh connection on which sending fails; a used one it replaces.
    server().dropConnections(TLSTestServer::End::cut);
    ASSERT_TRUE(eventually([this] { return server().openConnectionCount() == 0; }));
    const FailingCalls failing(GetParam(), ENOBUFS, at, at);
    int failures = 0;
    for (int i = 0; i < 3; ++i) {
      const std::string own = std::to_string(++number);
      const Report report = outcomeOf([&](auto handler) {
        api()->commonWithApiId_parameters_completionHandler("any", {{"number", own}}, handler);
      });
      failures += report.error ? 1 : 0;
      if (report.result) {
        EXPECT_EQ(report.result->resultDescription(), own);
      }
    }
    EXPECT_LE(failures, 1) << at;
    if (failing.count() < at) break;
  }
  std::map<std::string, int> arrivals;
  for (const auto& request : server().requests()) ++arrivals[numberIn(request)];
  for (const auto& [own, count] : arrivals) EXPECT_EQ(count, 1) << own;
}

}  // namespace
}  // namespace orx
