// SPDX-License-Identifier: MIT
// A coroutine that creates an account, signs in and reads a list.
#include <ORXAccount/Calls.h>
#include <ORXAccount/ORXAccount.h>

#include <coroutine>
#include <future>
#include <iostream>

#include "Setup.h"

// Begins at once, on its caller's thread; the result is the status of the program. Other types of
// coroutine can await the library's calls as well.
struct Task {
  struct promise_type {
    Task get_return_object() { return {result.get_future()}; }
    std::suspend_never initial_suspend() noexcept { return {}; }
    std::suspend_never final_suspend() noexcept { return {}; }
    void return_value(int status) { result.set_value(status); }
    void unhandled_exception() { result.set_exception(std::current_exception()); }

    std::promise<int> result;
  };

  std::future<int> result;
};

Task visit() {
  const orx::Dictionary ada{{orx::kORVAAccountLogin, "ada@example.com"},
                            {orx::kORVAAccountEMail, "ada@example.com"},
                            {orx::kORVAAccountPassword, "correct horse"}};
  const auto api = orx::ORVAAccountAPI::initWithOptions(
      {{orx::kORVAAccountAppID, "demo-app"}, {orx::kORVAAccountAppKey, "demo-key"}});
  const auto registered = co_await orx::calls::registerAccount(api, ada).orError();
  std::cout << (registered.error ? registered.error->localizedDescription() : "registered")
            << std::endl;
  try {
    const auto user = co_await orx::calls::signIn(ada);
    std::cout << "signed in: " << user->login().value_or("unknown") << std::endl;
    const auto countries = co_await orx::calls::countryList(api);
    const orx::Value& first = countries->returnData()[0];
    std::cout << "first country: " << first["abbr"].text().value_or("none") << std::endl;
  } catch (const orx::CallError& error) {
    std::cout << error.domain() << ' ' << error.code() << ": " << error.what() << std::endl;
    co_return 1;
  }
  co_return 0;
}

int main(int argc, char** argv) {
  setUp({argv, static_cast<std::size_t>(argc)});
  return visit().result.get();
}
