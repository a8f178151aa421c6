#pragma once

#include <filesystem>
#include <optional>
#include <string>

#include "support/Program.h"

namespace orx::testing {

// A session bus of the test's own, and the one that the environment names as long as this lives.
class PrivateBus {
 public:
  // Below `directory`. With `activation`, a command that the bus runs when somebody wants the
  // Secret Service.
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

  // Its items, which must be given before it starts, and what it does from the next call on.
  void setItems(std::string_view items) const;
  void setScript(std::string_view script) const;
  // Returns when it can be called. Its items are the given ones again.
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
