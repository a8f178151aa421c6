// SPDX-License-Identifier: MIT
#pragma once

#include <ORXAccount/orxaccount.h>
#include <ORXAccount/platform/Error.h>

#include <memory>
#include <string>

// The texts belong to whoever made it.
struct orx_error {
  const char* domain;
  int64_t code;
  const char* text;
};

namespace orx::c {

// An error together with the texts that it shows. Where there is no memory for the text, another
// one stands in its place: whoever is to be told of a failure is told.
class HeldError final : public orx_error {
 public:
  explicit HeldError(std::shared_ptr<Error> error) noexcept;
  HeldError(const HeldError&) = delete;
  HeldError& operator=(const HeldError&) = delete;

 private:
  std::shared_ptr<Error> error_;
  std::string text_;
};

// The error for the exception that is being handled; orx_error_release() lets it go. No exception
// may reach a caller in C.
orx_error* errorOfCurrentException() noexcept;

// Runs `work`. Null, or the error for what it threw.
template <typename Work>
orx_error* guarded(const Work& work) noexcept {
  try {
    work();
    return nullptr;
  } catch (...) {
    return errorOfCurrentException();
  }
}

}  // namespace orx::c
