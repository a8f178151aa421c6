// SPDX-License-Identifier: MIT
#include <ORXAccount/ORVAAccountConstants.h>

#include <atomic>

#include "allocations/FailingAllocation.h"
#include "support/AccountServiceFixture.h"
#include "support/Operations.h"

namespace orx {
namespace {

using namespace orx::testing;

class CallsWithoutMemory : public AccountServiceFixture,
                           public ::testing::WithParamInterface<Operation> {};

// Whatever allocation fails at the start of a call, it throws and there is neither request nor
// report, or there is one of each.
TEST_P(CallsWithoutMemory, ThrowOrReport) {
  answerWith(soapAnswer(resultBlock("1", "words", "String", "x")));
  std::size_t started = 0;
  const auto reports = std::make_shared<Mailbox<bool>>();
  const auto start = [&] {
    GetParam().start(*api(), Dictionary{{"Ticket", "T"}},
                     [reports](const auto&, const auto&) { reports->put(true); });
    ++started;
  };
  failEachAllocation([] {}, start,
                     [&](bool threw) {
                       if (!threw) reports->take();
                     });
  EXPECT_GT(started, 0U);
  EXPECT_EQ(server().requests().size(), started);
  EXPECT_EQ(reports->count(), 0U);
}

INSTANTIATE_TEST_SUITE_P(, CallsWithoutMemory,
                         ::testing::Values(kCommon, kWebSSO, kUserData, kLoginV2, kList), nameOf);

}  // namespace
}  // namespace orx
