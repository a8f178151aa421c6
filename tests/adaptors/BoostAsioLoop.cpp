// SPDX-License-Identifier: MIT
#include <boost/asio.hpp>

#include "adaptors/AsioLoop.h"

namespace orx::testing {

LoopKind boostAsioLoop() {
  using Context = boost::asio::io_context;
  using Guard = boost::asio::executor_work_guard<Context::executor_type>;
  return {"BoostAsio", [] { return std::make_unique<AsioLoop<Context, Guard>>(); }};
}

}  // namespace orx::testing
