// SPDX-License-Identifier: MIT
#pragma once

#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <string_view>

#include "FuzzTarget.h"

// A folder of the target's own, which goes at the process's end.
class ScratchFolder {
 public:
  ScratchFolder() {
    std::string name = (std::filesystem::temp_directory_path() / "orxaccount-fuzz-XXXXXX").string();
    ORX_FUZZ_CHECK(mkdtemp(name.data()) != nullptr);
    path_ = name;
  }
  ScratchFolder(const ScratchFolder&) = delete;
  ScratchFolder& operator=(const ScratchFolder&) = delete;
  ~ScratchFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }

  const std::filesystem::path& path() const { return path_; }

  // What the last input left goes.
  void clear() const {
    for (const auto& entry : std::filesystem::directory_iterator(path_)) {
      std::filesystem::remove_all(entry.path());
    }
  }

  // For its owner alone, as the library wants it.
  static void write(const std::filesystem::path& file, std::string_view content) {
    std::ofstream(file, std::ios::binary) << content;
    std::filesystem::permissions(file, std::filesystem::perms(0600));
  }

 private:
  std::filesystem::path path_;
};
