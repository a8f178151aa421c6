// SPDX-License-Identifier: MIT
#include "c/Errors.h"

#include <cerrno>
#include <new>
#include <system_error>
#include <utility>

#include "c/Texts.h"
#include "platform/base/Result.h"

namespace orx::c {

using namespace platform;

namespace {

// Needs no memory when memory has run out.
constinit orx_error noMemory{ORX_ERROR_DOMAIN_SYSTEM, ENOMEM, "Memory has run out."};

orx_error* systemError(int code, const char* text) noexcept {
  try {
    return new HeldError(makeFailure(ORX_ERROR_DOMAIN_SYSTEM, code, text).value());
  } catch (...) {
    return &noMemory;
  }
}

}  // namespace

HeldError::HeldError(std::shared_ptr<Error> error) noexcept
    : orx_error{error->domain().c_str(), error->code(), noMemory.text}, error_(std::move(error)) {
  try {
    text_ = validUTF8(error_->localizedDescription());
    text = text_.c_str();
  } catch (const std::bad_alloc&) {
    // The text from above stays.
  }
}

orx_error* errorOfCurrentException() noexcept {
  try {
    throw;
  } catch (const std::bad_alloc&) {
    return &noMemory;
  } catch (const std::system_error& error) {
    return systemError(error.code().value(), error.what());
  } catch (const std::exception& error) {
    return systemError(EINVAL, error.what());
  } catch (...) {
    return systemError(EINVAL, "An exception that is none of the library's.");
  }
}

}  // namespace orx::c

const char* orx_error_domain(const orx_error* error) {
  return error == nullptr ? nullptr : error->domain;
}

int64_t orx_error_code(const orx_error* error) { return error == nullptr ? 0 : error->code; }

const char* orx_error_text(const orx_error* error) {
  return error == nullptr ? nullptr : error->text;
}

void orx_error_release(orx_error* error) {
  if (error != &orx::c::noMemory) delete static_cast<orx::c::HeldError*>(error);
}
