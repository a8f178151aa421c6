#pragma once

#include <string>

#include <ORXAccount/platform/Value.h>

namespace orx::testing {

// One text for each value, the same as the scripts below archives/ print. Objects have none.
std::string canonical(const Value& value);

}  // namespace orx::testing
