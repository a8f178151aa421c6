// SPDX-License-Identifier: MIT
#include <ORXAccount/ORVAAccountConstants.h>

#include "allocations/FailingAllocation.h"
#include "support/SignInFixture.h"

namespace orx {
namespace {

using namespace orx::testing;

struct SignIn {
  std::string name;
  void (*start)(ORVAAccountLoginManager& manager);
};

void PrintTo(const SignIn& signIn, std::ostream* stream) { *stream << signIn.name; }

class SignInWithoutMemory : public SignInFixture, public ::testing::WithParamInterface<SignIn> {};

// Whatever allocation fails at the start of a sign-in, it throws and there is neither request nor
// report, or there is one of each.
TEST_P(SignInWithoutMemory, ThrowsOrReports) {
  answerWithRefusal("password error");
  std::size_t started = 0;
  failEachAllocation([] {}, [&] { GetParam().start(*manager()), ++started; },
                     [&](bool threw) {
                       if (!threw) report();
                     });
  EXPECT_EQ(server().requests().size(), started);
  EXPECT_EQ(delegate().reports.count(), 0U);
}

INSTANTIATE_TEST_SUITE_P(
    , SignInWithoutMemory,
    ::testing::Values(SignIn{"Password",
                             [](auto& manager) {
                               manager.loginWithParameters({{"login", "a"}});
                             }},
                      SignIn{"OpenIDV2",
                             [](auto& manager) {
                               manager.loginOpenIDV2WithParameters({{"login", "a"}});
                             }},
                      SignIn{"Ticket", [](auto& manager) { manager.loginWithTicket("T"); }}),
    [](const auto& each) { return each.param.name; });

}  // namespace
}  // namespace orx
