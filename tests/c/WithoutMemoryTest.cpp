// SPDX-License-Identifier: MIT
#include <ORXAccount/ORVAAccountConstants.h>
#include <ORXAccount/ORVAAccountUser.h>

#include <array>
#include <cerrno>

#include "allocations/FailingAllocation.h"
#include "c/CHost.h"
#include "c/Results.h"
#include "c/Starts.h"

namespace orx {
namespace {

using namespace orx::testing;

// Calls `function` with its first allocation failing, with its second, and so on until none fails;
// then gives what it returned. Before that it returns ENOMEM, or succeeds without what failed.
template <typename Function, typename Check>
void withEachAllocationFailing(const Function& function, const Check& check) {
  for (std::size_t number = 0;; ++number) {
    SCOPED_TRACE(number);
    std::int64_t code = 0;
    orx_error* error = nullptr;
    const auto [threw, hasFailed] = withFailingAllocation(number, [&] { error = function(); });
    code = refusal(error);
    EXPECT_FALSE(threw);
    EXPECT_TRUE(code == 0 || (hasFailed && code == ENOMEM)) << code;
    check(code);
    if (!hasFailed || ::testing::Test::HasFailure()) return;
  }
}

class CStartWithoutMemory : public CHost, public ::testing::WithParamInterface<Start> {};

// Whatever allocation fails at the start of a call, it returns an error and there is neither
// request nor report, or there is one of each.
TEST_P(CStartWithoutMemory, IsAnErrorOrReports) {
  answerWith(soapAnswer(resultBlock("0", "password error", "", std::nullopt)));
  ToldBox box;
  std::size_t started = 0;
  withEachAllocationFailing([&] { return GetParam().start(R"({"login":"ada"})", putTold, &box); },
                            [&](std::int64_t code) {
                              if (code != 0) return;
                              ++started;
                              box.take();
                            });
  EXPECT_GT(started, 0U);
  EXPECT_EQ(server().requests().size(), started);
  EXPECT_EQ(box.count(), 0U);
}

const auto nameOfStart = [](const auto& each) { return each.param.name; };
INSTANTIATE_TEST_SUITE_P(SignIns, CStartWithoutMemory, ::testing::ValuesIn(kSignIns), nameOfStart);
INSTANTIATE_TEST_SUITE_P(Calls, CStartWithoutMemory, ::testing::ValuesIn(kCalls), nameOfStart);

class CWithoutMemory : public CHost {};

TEST_F(CWithoutMemory, GivesWholeHandlesOrAnError) {
  ORVAAccountUser::setCurrentUser(
      ORVAAccountUser::initWithUserInfo(Dictionary{{"login", "a name of more than sixteen"}}));
  const std::array<const char*, 3> texts{"login", "a name of more than sixteen", nullptr};
  orx_user* user = nullptr;
  withEachAllocationFailing([&] { return orx_current_user(&user); },
                            [&](std::int64_t code) { EXPECT_EQ(user != nullptr, code == 0); });
  EXPECT_STREQ(orx_user_text(User(user).get(), "login"), texts[1]);
  orx_result* result = nullptr;
  const auto isWhole = [&](std::int64_t code) { EXPECT_EQ(result != nullptr, code == 0); };
  withEachAllocationFailing([&] { return orx_status(&result); }, isWhole);
  orx_result_release(std::exchange(result, nullptr));
  withEachAllocationFailing([&] { return orx_json_object(texts.data(), &result); }, isWhole);
  EXPECT_STREQ(orx_result_text(Result(result).get(), "login"), texts[1]);
}

TEST(CRefusalWithoutMemory, IsAnErrorAllTheSame) {
  for (std::size_t number = 0;; ++number) {
    orx_error* error = nullptr;
    const auto [threw, hasFailed] = withFailingAllocation(
        number, [&] { error = orx_set_option("no option has such a long name", "a value"); });
    EXPECT_FALSE(threw);
    const auto code = refusal(error);
    EXPECT_TRUE(code == EINVAL || (hasFailed && code == ENOMEM)) << number << ": " << code;
    if (!hasFailed || HasFailure()) return;
  }
}

TEST_F(CWithoutMemory, SetsAnOptionOrNot) {
  withEachAllocationFailing(
      [] { return orx_set_option("connectTo", "a.host.with.a.long.name=127.0.0.1:1"); },
      [](std::int64_t code) {
        const auto now = URLSessionConfiguration::defaultConfiguration().connectTo();
        EXPECT_EQ(now.contains("a.host.with.a.long.name"), code == 0);
      });
}

TEST_F(CWithoutMemory, StartsAndSignsOutWhenItIsDoneAgain) {
  signIn("ada");
  withEachAllocationFailing([] { return orx_initialize("a long enough app", "and its key", 0); },
                            [](std::int64_t /*code*/) {});
  EXPECT_STREQ(orx_user_text(currentUser().get(), ORX_LOGIN), "ada");
  withEachAllocationFailing([] { return orx_sign_out(); },
                            [](std::int64_t code) { EXPECT_EQ(!currentUser(), code == 0); });
}

TEST_F(CWithoutMemory, ObservesOrLeavesTheContextToTheCaller) {
  struct Context {
    int ended = 0;
  } context;
  const auto end = [](void* place) { ++static_cast<Context*>(place)->ended; };
  orx_observation* observation = nullptr;
  withEachAllocationFailing(
      [&] { return orx_observe_user(putTold, &context, end, &observation); },
      [&](std::int64_t code) { EXPECT_EQ(observation != nullptr, code == 0); });
  EXPECT_EQ(context.ended, 0);
  orx_observation_release(observation);
  EXPECT_EQ(context.ended, 1);
}

// What a callback was told, without memory of its own.
struct Counted {
  int results = 0;
  int errors = 0;
  int errorsOfMemory = 0;
};

void count(void* context, const orx_result* result, const orx_error* error) {
  auto* counted = static_cast<Counted*>(context);
  if (result != nullptr) ++counted->results;
  if (error != nullptr) ++counted->errors;
  if (orx_error_code(error) == ENOMEM && orx_error_text(error) != nullptr) {
    ++counted->errorsOfMemory;
  }
}

// Runs `report`, which calls a callback, with each of its allocations failing in turn.
template <typename Report>
void expectOneCallEach(const Report& report) {
  for (std::size_t number = 0;; ++number) {
    SCOPED_TRACE(number);
    Counted counted;
    const auto [threw, hasFailed] =
        withFailingAllocation(number, [&] { report(orx::c::Callback(count, &counted)); });
    EXPECT_FALSE(threw);
    EXPECT_EQ(counted.results + counted.errors, 1);
    EXPECT_EQ(counted.errors == 1, counted.errorsOfMemory == 1);
    if (!hasFailed) {
      EXPECT_EQ(counted.results, 1);
      return;
    }
    if (::testing::Test::HasFailure()) return;
  }
}

TEST(CCallbackWithoutMemory, IsCalledOnceWithAResultOrTheError) {
  const auto user = ORVAAccountUser::initWithUserInfo(
      Dictionary{{"login", "a name of more than sixteen"}, {"n", 1}});
  expectOneCallEach([&](const orx::c::Callback& callback) {
    callback.report(nullptr, [&] {
      return orx_result{.payload = orx::c::Document(*user->userInfo()),
                        .user = orx::c::handleOf(user)};
    });
  });
}

TEST(CCallbackWithoutMemory, IsToldTheDomainAndCodeOfAnErrorWhoseTextHasNoRoom) {
  const auto refusal = Error::errorWithDomain_code_userInfo(
      "a domain that is longer than sixteen", 42,
      {{NSLocalizedDescriptionKey, "a text that is longer than sixteen"}});
  const FailingAllocation failing(0, Shortage::FromThereOn);
  const orx_callback look = [](void* /*context*/, const orx_result* result,
                               const orx_error* error) {
    EXPECT_EQ(result, nullptr);
    EXPECT_STREQ(orx_error_domain(error), "a domain that is longer than sixteen");
    EXPECT_EQ(orx_error_code(error), 42);
    EXPECT_STREQ(orx_error_text(error), "Memory has run out.");
  };
  orx::c::Callback(look, nullptr).fail(refusal);
}

TEST(CError, GivesValidTextForWordsThatAreNotUTF8) {
  const auto error = Error::errorWithDomain_code_userInfo(kORVAAccountErrorDomain, 7,
                                                          {{NSLocalizedDescriptionKey, "n\xF6"}});
  EXPECT_STREQ(orx_error_text(std::make_unique<orx::c::HeldError>(error).get()), "n\uFFFD");
}

TEST_F(CWithoutMemory, TellsAnObserverOfEveryChangeThatIsMade) {
  Counted counted;
  orx_observation* observation = nullptr;
  ASSERT_EQ(refusal(orx_observe_user(count, &counted, nullptr, &observation)), 0);
  for (std::size_t number = 0;; ++number) {
    ORVAAccountUser::setCurrentUser(nullptr);
    const auto user =
        ORVAAccountUser::initWithUserInfo(Dictionary{{"login", "a name of more than sixteen"}});
    counted = {};
    const auto [threw, hasFailed] =
        withFailingAllocation(number, [&] { ORVAAccountUser::setCurrentUser(user); });
    EXPECT_EQ(counted.results + counted.errors, threw ? 0 : 1) << number;
    EXPECT_EQ(counted.errors, counted.errorsOfMemory);
    if (!hasFailed || HasFailure()) break;
  }
  orx_observation_release(observation);
}

}  // namespace
}  // namespace orx
