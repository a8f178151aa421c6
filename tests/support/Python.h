// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <vector>

namespace orx::testing {

// Runs a script below tests/ with python3 and returns its standard output; its standard error is
// the test's. Throws std::runtime_error when it cannot be run or exits with a status other than 0.
std::string runPython(const std::string& script, const std::vector<std::string>& arguments);

}  // namespace orx::testing
