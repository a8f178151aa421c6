// SPDX-License-Identifier: MIT
#include "support/TemporaryDirectory.h"

#include <cstdlib>
#include <stdexcept>
#include <system_error>

namespace orx::testing {

TemporaryDirectory::TemporaryDirectory() {
  std::string name = (std::filesystem::temp_directory_path() / "orxaccount-test-XXXXXX").string();
  if (mkdtemp(name.data()) == nullptr) throw std::runtime_error("cannot make " + name);
  path_ = name;
}

TemporaryDirectory::~TemporaryDirectory() {
  std::error_code ignored;
  std::filesystem::remove_all(path_, ignored);
}

}  // namespace orx::testing
