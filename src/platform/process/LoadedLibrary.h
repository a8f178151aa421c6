// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <type_traits>

namespace orx::platform {

// A shared library that is loaded by name, and stays until the process ends.
class LoadedLibrary {
 public:
  // Loads it, with what it needs, unless it is there already.
  explicit LoadedLibrary(const char* name);

  // Looks a function up, in the libraries too that came along. Null when there is none.
  template <typename Function>
  void find(Function& function, const char* name) {
    function = reinterpret_cast<std::remove_reference_t<Function>>(address(name));
  }
  // Empty while nothing was; else what was missing first, in the dynamic linker's words.
  const std::string& missing() const { return missing_; }

 private:
  void* address(const char* name);

  void* handle_;
  std::string missing_;
};

}  // namespace orx::platform
