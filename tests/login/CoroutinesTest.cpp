// SPDX-License-Identifier: MIT
#include <ORXAccount/CallbackExecutor.h>
#include <ORXAccount/Calls.h>
#include <ORXAccount/ORVAAccountConstants.h>

#include <coroutine>
#include <functional>
#include <stdexcept>
#include <thread>
#include <utility>

#include "support/SignInFixture.h"

namespace orx {
namespace {

using namespace orx::testing;

// A coroutine that begins at once and that nobody waits for.
struct Detached {
  struct promise_type {
    Detached get_return_object() { return {}; }
    std::suspend_never initial_suspend() noexcept { return {}; }
    std::suspend_never final_suspend() noexcept { return {}; }
    void return_void() {}
    void unhandled_exception() { std::terminate(); }
  };
};

// One that ends when this does, wherever it stands.
struct Owned {
  struct promise_type {
    Owned get_return_object() {
      return Owned(std::coroutine_handle<promise_type>::from_promise(*this));
    }
    std::suspend_never initial_suspend() noexcept { return {}; }
    std::suspend_always final_suspend() noexcept { return {}; }
    void return_void() {}
    void unhandled_exception() { std::terminate(); }
  };

  explicit Owned(std::coroutine_handle<promise_type> aHandle) : handle(aHandle) {}
  Owned(Owned&& other) noexcept : handle(std::exchange(other.handle, nullptr)) {}
  Owned& operator=(const Owned&) = delete;
  ~Owned() {
    if (handle) handle.destroy();
  }

  std::coroutine_handle<promise_type> handle;
};

// Not in the expressions that are awaited, where g++ 12 takes no braces.
const Dictionary kAda{{"login", "ada"}};

class Coroutines : public SignInFixture {
 protected:
  struct Told {
    std::string text;
    std::thread::id thread;
  };
  void tell(std::string text) { told_.put({std::move(text), std::this_thread::get_id()}); }

  Detached signInAndTell() {
    try {
      const auto user = co_await calls::signIn(kAda);
      tell(user->login().value_or("nobody"));
    } catch (const CallError& error) {
      tell(error.what());
    } catch (const std::invalid_argument&) {
      tell("a mistake");
    }
  }
  Detached tellOutcome(calls::ResultCall call) {
    const auto outcome = co_await std::move(call).orError();
    tell(outcome.error ? outcome.error->localizedDescription() : "a result");
  }
  Detached signInTwice() {
    const auto first = co_await calls::signIn(kAda);
    answerWithRecord(R"({"login":"two"})");
    const auto second = co_await calls::signIn(kAda);
    tell(first->login().value_or("") + ", " + second->login().value_or(""));
  }
  Mailbox<Told> told_;
};

TEST_F(Coroutines, GoOnWithTheUserOnAThreadOfTheLibrary) {
  answerWithRecord(R"({"login":"ada"})");
  signInAndTell();
  const Told told = told_.take();
  EXPECT_EQ(told.text, "ada");
  EXPECT_NE(told.thread, std::this_thread::get_id());
}

TEST_F(Coroutines, CatchARefusal) {
  answerWithRefusal("password error");
  signInAndTell();
  EXPECT_EQ(told_.take().text, "password error");
}

TEST_F(Coroutines, CatchWhatTheOperationThrowsOnTheirOwnThread) {
  ORVAAccount::sharedInstance()->setAppKey(std::nullopt);
  signInAndTell();
  ASSERT_EQ(told_.count(), 1U);
  const Told told = told_.take();
  EXPECT_EQ(told.text, "a mistake");
  EXPECT_EQ(told.thread, std::this_thread::get_id());
}

TEST_F(Coroutines, GetARefusalAsAValueWhenTheyAsk) {
  answerWithRefusal("no such thing");
  tellOutcome(calls::common(api(), "w1", {}));
  EXPECT_EQ(told_.take().text, "no such thing");
  tellOutcome(calls::countryList(api()));
  EXPECT_EQ(told_.take().text, "a result");
}

TEST_F(Coroutines, MayCallAgainWhereTheyGoOn) {
  answerWithRecord(R"({"login":"one"})");
  signInTwice();
  EXPECT_EQ(told_.take().text, "one, two");
}

TEST_F(Coroutines, GoOnWhereTheExecutorOfTheHostRunsThem) {
  Mailbox<std::function<void()>> loop;
  setCallbackExecutor([&](auto block) { loop.put(std::move(block)); }, CallbackScope::Everything);
  answerWithRecord(R"({"login":"ada"})");
  signInAndTell();
  loop.take()();
  EXPECT_EQ(told_.take().thread, std::this_thread::get_id());
  tellOutcome(calls::countryList(api()));
  loop.take()();
  EXPECT_EQ(told_.take().thread, std::this_thread::get_id());
  setCallbackExecutor({});
}

Owned assignOutcome(Call<int> call, int& target) { target = co_await std::move(call); }

TEST(OwnedCoroutine, IsNotResumedWhenItWasDestroyedWhileItWaited) {
  Call<int>::Handler report;
  const auto start = [&](Call<int>::Handler handler) { report = std::move(handler); };
  int value = 0;
  {
    const Owned waiting = assignOutcome(Call<int>(start), value);
    report({1});
    EXPECT_EQ(value, 1);
  }
  { const Owned waiting = assignOutcome(Call<int>(start), value); }
  report({2});
  EXPECT_EQ(value, 1);
}

}  // namespace
}  // namespace orx
