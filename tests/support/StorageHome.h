#pragma once

#include <ORXAccount/platform/Data.h>

#include <filesystem>
#include <map>
#include <string>

#include "support/TemporaryDirectory.h"

namespace orx::testing {

// Lets the process's user defaults and keychain files live in a directory of their own, under a
// bundle identifier and without a session bus, for as long as this lives. Made before other threads
// run.
class StorageHome {
 public:
  StorageHome();

  // Where the bundle identifier that is set here leads.
  std::filesystem::path defaultsFile() const;
  std::filesystem::path keychainDirectory() const;
  // The path of the one item that is stored; throws when there is not exactly one.
  std::filesystem::path onlyItemFile() const;
  const std::filesystem::path& path() const { return directory_.path(); }

  static constexpr const char* bundleIdentifier = "com.example.host";

 private:
  TemporaryDirectory directory_;
};

// Hides the session bus of the machine that the test runs on, and with it the user's own keyring.
void withoutSessionBus();

std::string contentOf(const std::filesystem::path& file);
void writeContent(const std::filesystem::path& file, std::string_view content);

// Every file below a directory with its content, so that a test can say that nothing has changed.
std::map<std::string, std::string> snapshotOf(const std::filesystem::path& directory);

}  // namespace orx::testing
