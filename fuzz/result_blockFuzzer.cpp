// SPDX-License-Identifier: MIT
#include <stdexcept>

#include "FuzzTarget.h"
#include "oracles/ResultBlockOracle.h"

using orx::service::ResultBlockPattern;

static void compare(std::string_view text, ResultBlockPattern pattern) {
  const auto own = orx::testing::descriptionOf(orx::service::matchResultBlock(text, pattern));
  try {
    const auto expected =
        orx::testing::descriptionOf(orx::testing::matchResultBlockByPattern(text, pattern));
    ORX_FUZZ_CHECK(own == expected);
  } catch (const std::runtime_error&) {
    // The oracle has hit its backtracking limit, so there is nothing to compare with.
  }
}

ORX_FUZZ_TARGET(text) {
  // The address sanitizer looks at all of the text whenever memrchr() is called.
  leaveInputsShort();
  compare(text, ResultBlockPattern::Lenient);
  compare(text, ResultBlockPattern::Strict);
}
