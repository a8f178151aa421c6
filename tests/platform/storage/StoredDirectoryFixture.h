// SPDX-License-Identifier: MIT
#pragma once

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <stdexcept>
#include <string>

#include "platform/storage/StoredDirectory.h"
#include "support/TemporaryDirectory.h"

namespace orx::testing {

using namespace platform;

// Of a link, the link's own.
inline struct stat statusOf(const std::filesystem::path& path) {
  struct stat status {};
  EXPECT_EQ(lstat(path.c_str(), &status), 0) << path;
  return status;
}

inline mode_t modeOf(const std::filesystem::path& path) { return statusOf(path).st_mode & 07777U; }

inline std::string detail(const Error& error, std::string_view key) {
  return error.userInfo()[key].text().value_or("(none)");
}

// Root ignores file permissions, so a child that runs as root becomes another user, who owns this
// directory.
inline void beAnOrdinaryUser(const std::filesystem::path& directory) {
  if (geteuid() != 0) return;
  if (chown(directory.c_str(), 65534, 65534) != 0 || setresuid(65534, 65534, 65534) != 0) {
    throw std::runtime_error("cannot become an ordinary user");
  }
}

// A directory that is to be made, with its parents, and a file in it.
class StoredDirectoryTest : public ::testing::Test {
 protected:
  StoredDirectory open(StoredDirectory::Kind kind = StoredDirectory::Kind::Private) {
    auto opening = StoredDirectory::open(path, kind, StoredDirectory::Missing::Create);
    EXPECT_TRUE(opening) << opening.error()->localizedDescription();
    return **std::move(opening);
  }

  TemporaryDirectory temporary;
  const std::filesystem::path path = temporary / "deep/er/store";
  const std::filesystem::path file = path / "file";
};

}  // namespace orx::testing
