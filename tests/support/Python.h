#pragma once

#include <string>
#include <vector>

namespace orx::testing {

// Runs a script below the folder of the tests with python3 and gives what it prints. Throws
// std::runtime_error when it cannot be run or ends with a status other than 0; what it wrote to
// standard error is then on the test's own.
std::string runPython(const std::string& script, const std::vector<std::string>& arguments);

}  // namespace orx::testing
