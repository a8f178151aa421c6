// SPDX-License-Identifier: MIT
#pragma once

#include <ORXAccount/CallbackExecutor.h>

#include <functional>
#include <utility>

namespace orx {

// Posts callbacks to *context, for which asio, or Boost.Asio, has a post(): an io_context, an
// executor, a strand. The pointer is kept: a shared one keeps the context for as long as callbacks
// may come, a plain one leaves that to the host. One thread runs it, or a strand keeps the order.
// For a host that uses either; the library does not, and this header includes neither.
//
//   const auto context = std::make_shared<asio::io_context>();
//   orx::setCallbackExecutor(orx::asioCallbackExecutor(context), orx::CallbackScope::Everything);
template <typename Pointer>
CallbackExecutor asioCallbackExecutor(Pointer context) {
  return [context = std::move(context)](std::function<void()> block) {
    // Found beside the type of the context.
    post(*context, std::move(block));
  };
}

}  // namespace orx
