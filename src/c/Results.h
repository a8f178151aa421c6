// SPDX-License-Identifier: MIT
#pragma once

#include <ORXAccount/ORVAAccountUser.h>
#include <ORXAccount/orxaccount.h>
#include <ORXAccount/platform/Data.h>

#include <atomic>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <type_traits>

#include "c/Errors.h"
#include "c/Texts.h"
#include "platform/base/Result.h"

struct orx_user {
  explicit orx_user(std::shared_ptr<orx::ORVAAccountUser> aRecord);

  const std::shared_ptr<orx::ORVAAccountUser> record;
  const orx::c::Document info;
  const std::optional<std::string> country;
  const bool isChina;
  const std::optional<std::string> pictureURL;
  // Of those who are to release it.
  mutable std::atomic<std::size_t> owners = 1;
};

namespace orx::c {

struct Release {
  void operator()(orx_user* user) const { orx_user_release(user); }
  void operator()(orx_error* error) const { orx_error_release(error); }
};
using OwnedUser = std::unique_ptr<orx_user, Release>;

// Null for nobody.
OwnedUser handleOf(const std::shared_ptr<ORVAAccountUser>& user);

}  // namespace orx::c

struct orx_result {
  orx::c::Document payload{};
  std::optional<std::string> description{};
  orx::Data bytes{};
  orx::c::OwnedUser user{};
  orx::c::OwnedUser previousUser{};
  std::unique_ptr<const orx::c::HeldError> transferError{};
};

namespace orx::c {

// What a host gave to be told by.
struct Callback {
  // Throws std::invalid_argument for a null pointer: the call could never report.
  Callback(orx_callback function, void* context);

  // Calls it with the error, when there is one, else with what `make` gives: a result, the error
  // that stands for it, or what it throws. What the callback throws ends the process here.
  template <typename Make>
  void report(const std::shared_ptr<Error>& error, const Make& make) const noexcept {
    if (error) return fail(error);
    std::optional<platform::Result<orx_result>> made;
    const std::unique_ptr<orx_error, Release> failure(guarded([&] { made.emplace(make()); }));
    if (failure) return function(context, nullptr, failure.get());
    if (!*made) return fail(made->error());
    function(context, &**made, nullptr);
  }
  void fail(const std::shared_ptr<Error>& error) const noexcept;

  orx_callback function;
  void* context;
};
// Then a std::function holds it without asking for memory.
static_assert(std::is_trivially_copyable_v<Callback> && sizeof(Callback) == 2 * sizeof(void*));

// What a host gave to be told by more than once. The host hears of its end, once nobody can call it
// any more.
class Context {
 public:
  explicit Context(void* pointer) : pointer_(pointer) {}
  Context(const Context&) = delete;
  Context& operator=(const Context&) = delete;
  ~Context() {
    if (ended_ != nullptr) ended_(pointer_);
  }

  void* pointer() const { return pointer_; }
  // Not before it is in use: a host that gets an error keeps its context.
  void endWith(void (*ended)(void* context)) { ended_ = ended; }

 private:
  void* const pointer_;
  void (*ended_)(void* context) = nullptr;
};

// Where the caller wants the handle that a function makes. Throws std::invalid_argument for a null
// pointer. To be called before the handle is made: an assignment begins with its right side, which
// would be lost.
template <typename Handle>
Handle*& placeOf(Handle** handle) {
  if (handle == nullptr) throw std::invalid_argument("the place for the result is a null pointer");
  return *handle;
}

}  // namespace orx::c
