// SPDX-License-Identifier: MIT
#pragma once

#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>

namespace orx::devserver {

// Throws std::runtime_error that names the file when it cannot be read.
inline std::string contentOf(const std::filesystem::path& path) {
  std::ifstream file(path, std::ios::binary);
  std::string content((std::istreambuf_iterator<char>(file)), {});
  if (!file.is_open() || file.bad()) throw std::runtime_error("cannot read " + path.string());
  return content;
}

}  // namespace orx::devserver
