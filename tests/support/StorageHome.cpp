// SPDX-License-Identifier: MIT
#include "support/StorageHome.h"

#include <ORXAccount/platform/Bundle.h>

#include <cstdlib>
#include <fstream>
#include <iterator>
#include <stdexcept>

namespace orx::testing {

StorageHome::StorageHome() {
  setenv("XDG_CONFIG_HOME", (directory_ / "config").c_str(), 1);
  setenv("XDG_DATA_HOME", (directory_ / "data").c_str(), 1);
  withoutSessionBus();
  Bundle::mainBundle()->setBundleIdentifier(bundleIdentifier);
}

void withoutSessionBus() {
  unsetenv("DBUS_SESSION_BUS_ADDRESS");
  unsetenv("XDG_RUNTIME_DIR");
}

std::filesystem::path StorageHome::defaultsFile() const {
  return directory_ / "config" / bundleIdentifier / "defaults.plist";
}

std::filesystem::path StorageHome::keychainDirectory() const {
  return directory_ / "data" / "orxaccount";
}

std::filesystem::path StorageHome::onlyItemFile() const {
  std::filesystem::path found;
  for (const auto& entry : std::filesystem::directory_iterator(keychainDirectory())) {
    if (entry.path().extension() != ".item") continue;
    if (!found.empty()) throw std::runtime_error("there is more than one item");
    found = entry.path();
  }
  if (found.empty()) throw std::runtime_error("there is no item");
  return found;
}

std::string contentOf(const std::filesystem::path& file) {
  std::ifstream stream(file, std::ios::binary);
  if (!stream) throw std::runtime_error("cannot read " + file.string());
  return {std::istreambuf_iterator<char>(stream), {}};
}

void writeContent(const std::filesystem::path& file, std::string_view content) {
  std::ofstream stream(file, std::ios::binary | std::ios::trunc);
  stream.write(content.data(), static_cast<std::streamsize>(content.size()));
  if (!stream.flush()) throw std::runtime_error("cannot write " + file.string());
}

std::map<std::string, std::string> snapshotOf(const std::filesystem::path& directory) {
  std::map<std::string, std::string> files;
  if (!std::filesystem::exists(directory)) return files;
  for (const auto& entry : std::filesystem::recursive_directory_iterator(directory)) {
    if (entry.is_regular_file()) files[entry.path().string()] = contentOf(entry.path());
  }
  return files;
}

}  // namespace orx::testing
