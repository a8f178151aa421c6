// SPDX-License-Identifier: MIT
#pragma once

#include <filesystem>
#include <optional>
#include <string>

#include "support/Program.h"

namespace orx::testing {

// A session bus of the test's own. DBUS_SESSION_BUS_ADDRESS names it while this object lives.
class PrivateBus {
 public:
  // Its files lie below `directory`. `activation` is the command with which the bus starts a Secret
  // Service when a client calls one; without it the bus starts none.
  explicit PrivateBus(const std::filesystem::path& directory, const std::string& activation = {});
  ~PrivateBus();

  void kill() { daemon_->kill(); }

 private:
  std::optional<Program> daemon_;
};

// The real keyring of a desktop on the bus that the environment names, unlocked, with its files
// below the user's data directory.
class GnomeKeyring {
 public:
  explicit GnomeKeyring(const std::filesystem::path& directory);

 private:
  std::optional<Program> daemon_;
};

// The scripted service (see service/Script.h) on the bus that the environment names.
class ScriptedService {
 public:
  explicit ScriptedService(const std::filesystem::path& directory);

  // The items that start() begins with, and what the service does from its next call on.
  void setItems(std::string_view items) const;
  void setScript(std::string_view script) const;
  // Starts a new service, with the items of setItems(); returns when it can be called.
  void start();
  void stop() { process_.reset(); }

  // How often a method was called since the start or the last clearLog().
  int calls(std::string_view method) const;
  void clearLog() const;

 private:
  std::filesystem::path directory_;
  std::optional<Program> process_;
};

}  // namespace orx::testing
