// SPDX-License-Identifier: MIT
#pragma once

#include <ORXAccount/platform/Value.h>

#include <string>

namespace orx::testing {

// One text for each value, the same as the scripts below archives/ print. Objects have none.
std::string canonical(const Value& value);

}  // namespace orx::testing
