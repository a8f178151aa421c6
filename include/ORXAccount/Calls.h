// SPDX-License-Identifier: MIT
#pragma once

// Every operation as a call that gives a std::future, and that a coroutine can await. Not part of
// ORXAccount.h; all of it is in this header, over the callbacks that the library has anyway.
//
//   const auto user = orx::calls::signIn({{orx::kORVAAccountLogin, "ada@example.com"},
//                                         {orx::kORVAAccountPassword, "correct horse"}})
//                         .future()
//                         .get();                                    // throws a CallError
//   const auto list = co_await orx::calls::countryList(api);         // throws a CallError
//   const auto outcome = co_await orx::calls::countryList(api).orError();  // holds the error
//   if (outcome.error) ...
//
// A coroutine of any type can await a call, unless that type takes its own operations alone, as
// asio's does: docs/guide/threads.md has the lines that make one of a call. Some versions of g++
// refuse braces within the expression that is awaited ("array used as initializer"): name the
// parameters before.
//
// A call starts when it becomes a future or is awaited, once; before that it does nothing. What the
// operation throws on the thread that starts it (std::invalid_argument, std::system_error,
// std::bad_alloc: see ORXAccount.h) comes out of future(), at once, and out of co_await.
//
// A future may be dropped: the call goes on and its outcome is lost. A coroutine goes on where the
// operation would report: on a background thread of the library, or where the host's executor runs
// it (CallbackExecutor.h; after a sign-in only with CallbackScope::Everything). It blocks that
// thread until it is suspended again; what it throws there, as by an unhandled_exception() that
// throws, ends the process. A coroutine that is destroyed while it waits is not resumed; nobody may
// destroy it at the very moment of the outcome. With an executor, a future must not be waited for
// on the thread of its loop.

#include <ORXAccount/ORVAAccountAPI.h>
#include <ORXAccount/ORVAAccountLoginManager.h>
#include <ORXAccount/ORVAAccountUser.h>
#include <ORXAccount/platform/Data.h>
#include <ORXAccount/platform/Error.h>
#include <ORXAccount/platform/Export.h>
#include <ORXAccount/platform/Value.h>

#include <concepts>
#include <cstdint>
#include <exception>
#include <functional>
#include <future>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

namespace orx {

// A call that failed; what() is the error's text for people.
class ORX_EXPORT CallError : public std::runtime_error {
 public:
  // Of an error that is not null.
  explicit CallError(std::shared_ptr<Error> error)
      : std::runtime_error(error->localizedDescription()), error_(std::move(error)) {}

  const std::shared_ptr<Error>& error() const noexcept { return error_; }
  const std::string& domain() const noexcept { return error_->domain(); }
  std::int64_t code() const noexcept { return error_->code(); }

 private:
  std::shared_ptr<Error> error_;
};

// What came of a call: the value of a call that succeeded, or the error of one that failed.
template <typename T>
struct Outcome {
  // Default-constructed when there is an error.
  T value{};
  // Null after a success.
  std::shared_ptr<Error> error{};
};

template <typename T, typename Given>
class CallAwaiter;

// One call, not yet started. `Given` is what it gives: the value, or the outcome. It may be started
// on any thread, by one at a time, and only once.
template <typename T, typename Given = T>
class [[nodiscard]] Call {
 public:
  using Handler = std::function<void(Outcome<T>)>;

  // `start` begins the call and gives its outcome to the handler, once; or throws, and does not.
  explicit Call(std::function<void(Handler)> start) : start_(std::move(start)) {}

  // The same call, which gives the outcome instead of throwing a CallError.
  Call<T, Outcome<T>> orError() && { return Call<T, Outcome<T>>(std::move(start_)); }

  // Starts the call. Its get() gives the value or throws a CallError; after orError(), the outcome.
  // Where the host's executor runs callbacks, nobody may wait on the thread of its loop.
  [[nodiscard]] std::future<Given> future() && {
    const auto promise = std::make_shared<std::promise<Given>>();
    auto future = promise->get_future();
    std::move(*this).start([promise](Outcome<T> outcome) {
      try {
        promise->set_value(given(std::move(outcome)));
      } catch (...) {
        promise->set_exception(std::current_exception());
      }
    });
    return future;
  }

  // Starts the call and suspends the coroutine until its outcome has come.
  CallAwaiter<T, Given> operator co_await() && { return CallAwaiter<T, Given>(std::move(*this)); }

  // Starts the call. The handler gets the outcome as a completion handler of ORVAAccountAPI does.
  void start(Handler handler) && {
    // Taken out first: whoever holds the call may drop it on another thread once it has started.
    const auto start = std::move(start_);
    start(std::move(handler));
  }

 private:
  friend CallAwaiter<T, Given>;
  static Given given(Outcome<T> outcome) {
    if constexpr (std::same_as<Given, T>) {
      if (outcome.error) throw CallError(std::move(outcome.error));
      return std::move(outcome.value);
    } else {
      return outcome;
    }
  }

  std::function<void(Handler)> start_;
};

// What `co_await` makes of a call.
template <typename T, typename Given>
class CallAwaiter {
 public:
  explicit CallAwaiter(Call<T, Given> call) : call_(std::move(call)) {}

  bool await_ready() const noexcept { return false; }
  // Not inline: compilers would keep its variables in the coroutine, which may have ended before
  // this returns.
  template <typename Coroutine>
  [[gnu::noinline]] void await_suspend(Coroutine coroutine) {
    outcome_ = std::make_shared<Outcome<T>>();
    std::move(call_).start(
        [awaited = std::weak_ptr(outcome_), coroutine](Outcome<T> outcome) mutable {
          if (const auto target = awaited.lock()) {
            *target = std::move(outcome);
            coroutine.resume();
          }
        });
  }
  Given await_resume() { return Call<T, Given>::given(std::move(*outcome_)); }

 private:
  Call<T, Given> call_;
  // Gone with the coroutine, so that one that was destroyed is not resumed.
  std::shared_ptr<Outcome<T>> outcome_;
};

namespace calls {

using ResultCall = Call<std::shared_ptr<ORVAAccountAPIResult>>;
using SignInCall = Call<std::shared_ptr<ORVAAccountUser>>;

namespace detail {

// How the library's operations take what a call has kept for them.
template <typename T>
using Passed = std::conditional_t<std::same_as<T, std::string>, std::string_view, const T&>;

template <typename... Arguments>
struct ServiceOperation {
  ResultCall operator()(const std::shared_ptr<ORVAAccountAPI>& api, Arguments... arguments) const {
    return ResultCall([=, operation = operation](ResultCall::Handler handler) {
      const auto report = [handler = std::move(handler)](const auto& result, const auto& error) {
        handler({result, error});
      };
      (api.get()->*operation)(arguments..., report);
    });
  }

  void (ORVAAccountAPI::*operation)(Passed<Arguments>..., ORVAAccountAPICompletionHandler);
};

// Hears of one sign-in, by a manager of its own. It holds itself until then: the manager does not.
class SignIn final : public ORVAAccountLoginManagerDelegate {
 public:
  explicit SignIn(SignInCall::Handler handler) : handler_(std::move(handler)) {}

  template <typename Start>
  static void begin(SignInCall::Handler handler, const Start& start) {
    const auto manager = ORVAAccountLoginManager::init();
    // Without a list, sign-ins with a ticket would not be reported.
    manager->setLoginWithTicketTasks(std::vector<Dictionary>());
    const auto signIn = std::make_shared<SignIn>(std::move(handler));
    manager->setDelegate(signIn);
    signIn->self_ = signIn;
    try {
      start(*manager);
    } catch (...) {
      signIn->self_.reset();
      throw;
    }
  }

  // The user of the report may be that of a sign-in that has overtaken this one.
  void loginManager_didLoginWithUser_error(ORVAAccountLoginManager& manager,
                                           const std::shared_ptr<ORVAAccountUser>& /*user*/,
                                           const std::shared_ptr<Error>& error) override {
    const auto self = std::move(self_);
    handler_({error ? nullptr : manager.userOfLatestSignIn(), error});
  }

 private:
  SignInCall::Handler handler_;
  std::shared_ptr<SignIn> self_;
};

// How a sign-in keeps what it takes until it starts. A ticket is a secret, and a value overwrites
// its text at its end.
template <typename Argument>
using Kept = std::conditional_t<std::same_as<Argument, std::string>, Value, Argument>;
inline const Dictionary& passed(const Dictionary& kept) { return kept; }
inline std::string_view passed(const Value& kept) { return *kept.string(); }

template <typename Argument>
struct SignInOperation {
  SignInCall operator()(Passed<Argument> argument) const {
    return SignInCall([kept = Kept<Argument>(argument),
                       operation = operation](SignInCall::Handler handler) {
      SignIn::begin(std::move(handler),
                    [&](ORVAAccountLoginManager& manager) { (manager.*operation)(passed(kept)); });
    });
  }

  void (ORVAAccountLoginManager::*operation)(Passed<Argument>);
};

}  // namespace detail

// The sign-ins of ORVAAccountLoginManager. Each has a manager of its own, so several at once are
// told apart, and the delegate of the shared manager does not hear of them; observers do, before
// the call ends. The value is the record that this sign-in made current, even if another has
// replaced it by then; null where a ticket was answered with data that is no XML.
inline constexpr detail::SignInOperation<Dictionary> signIn{
    &ORVAAccountLoginManager::loginWithParameters};
inline constexpr detail::SignInOperation<Dictionary> signInWithOpenID{
    &ORVAAccountLoginManager::loginOpenIDWithParameters};
inline constexpr detail::SignInOperation<Dictionary> signInWithOpenIDV2{
    &ORVAAccountLoginManager::loginOpenIDV2WithParameters};
inline constexpr detail::SignInOperation<std::string> signInWithTicket{
    &ORVAAccountLoginManager::loginWithTicket};

// The operations of ORVAAccountAPI: the client, which is not null, and what the operation takes
// before its handler.
inline constexpr detail::ServiceOperation<std::string, Dictionary> common{
    &ORVAAccountAPI::commonWithApiId_parameters_completionHandler};
inline constexpr detail::ServiceOperation<Dictionary> registerAccount{
    &ORVAAccountAPI::register_completeHandler};
inline constexpr detail::ServiceOperation<Dictionary> login{
    &ORVAAccountAPI::login_completionHandler};
inline constexpr detail::ServiceOperation<Dictionary> loginOpenID{
    &ORVAAccountAPI::loginOpenID_completionHandler};
inline constexpr detail::ServiceOperation<Dictionary> apToWebSSO{
    &ORVAAccountAPI::apToWebSSOWithParameters_completionHandler};
inline constexpr detail::ServiceOperation<Dictionary> registerV2{
    &ORVAAccountAPI::registerV2WithParameters_completeHandler};
inline constexpr detail::ServiceOperation<Dictionary> loginOpenIDV2{
    &ORVAAccountAPI::loginOpenIDV2WithParameters_completionHandler};
inline constexpr detail::ServiceOperation<Dictionary> getUserData{
    &ORVAAccountAPI::getUserData_completionHandler};
inline constexpr detail::ServiceOperation<std::string> parameterList{
    &ORVAAccountAPI::parameterListWithName_completionHandler};
inline constexpr detail::ServiceOperation<> countryList{
    &ORVAAccountAPI::countryListWithCompletionHandler};
inline constexpr detail::ServiceOperation<> educationList{
    &ORVAAccountAPI::educationListWithCompletionHandler};
inline constexpr detail::ServiceOperation<> professionalList{
    &ORVAAccountAPI::professionalListWithCompletionHandler};

// The picture of a user, who is not null; see ORVAAccountUser. It may be empty.
inline Call<Data> profileImageData(std::shared_ptr<ORVAAccountUser> user) {
  return Call<Data>([user = std::move(user)](Call<Data>::Handler handler) {
    user->loadProfileImageDataWithCompletionBlock(
        [handler = std::move(handler)](const std::optional<Data>& imageData,
                                       const std::shared_ptr<Error>& error) {
          handler({imageData.value_or(Data()), error});
        });
  });
}

}  // namespace calls
}  // namespace orx
