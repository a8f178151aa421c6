// SPDX-License-Identifier: MIT
#include "adaptors/AsioLoop.h"

#include <asio.hpp>

namespace orx::testing {

LoopKind asioLoop() {
  using Guard = asio::executor_work_guard<asio::io_context::executor_type>;
  return {"asio", [] { return std::make_unique<AsioLoop<asio::io_context, Guard>>(); }};
}

}  // namespace orx::testing
