// SPDX-License-Identifier: MIT
#pragma once

#include <ORXAccount/platform/Data.h>

#include <filesystem>
#include <map>
#include <string>

#include "support/TemporaryDirectory.h"

namespace orx::testing {

// Points the process's user defaults and keychain files at a temporary directory, sets a bundle
// identifier and hides the session bus. Make it before other threads run, because it changes the
// environment.
class StorageHome {
 public:
  StorageHome();

  // The defaults file of this bundle identifier.
  std::filesystem::path defaultsFile() const;
  std::filesystem::path keychainDirectory() const;
  // The path of the one item that is stored; throws when there is not exactly one.
  std::filesystem::path onlyItemFile() const;
  const std::filesystem::path& path() const { return directory_.path(); }

  static constexpr const char* bundleIdentifier = "com.example.host";

 private:
  TemporaryDirectory directory_;
};

// Unsets the variables that lead to the session bus, so that no test touches the keyring of the
// user who runs it.
void withoutSessionBus();

std::string contentOf(const std::filesystem::path& file);
void writeContent(const std::filesystem::path& file, std::string_view content);

// Every file below a directory with its content, so that a test can say that nothing has changed.
std::map<std::string, std::string> snapshotOf(const std::filesystem::path& directory);

}  // namespace orx::testing
