// SPDX-License-Identifier: MIT
#include "support/PrivateBus.h"

#include <sys/stat.h>

#include <cstdlib>
#include <sstream>
#include <stdexcept>

#include "platform/keychain/secretservice/SecretServiceStore.h"
#include "support/Await.h"
#include "support/ChildProcess.h"
#include "support/StorageHome.h"

namespace orx::testing {

using namespace platform;

namespace {

std::string configurationOf(const std::filesystem::path& directory) {
  return "<busconfig><type>session</type><listen>unix:path=" + (directory / "bus").string() +
         "</listen><servicedir>" + (directory / "services").string() +
         "</servicedir><policy context=\"default\"><allow send_destination=\"*\"/>"
         "<allow receive_sender=\"*\"/><allow own=\"*\"/></policy></busconfig>";
}

// Waits until an item can be stored. A child does the asking: once this process has used the bus,
// the children that it forks are refused the keyring.
void awaitKeyring() {
  ChildProcess asking([] {
    SecretServiceStore store(
        {.mayPrompt = [] { return PromptRules::Answer::Forbidden; }, .noteDismissed = [] {}});
    const KeychainItem item{.service = "nobody", .account = "nobody"};
    const auto deadline = [] { return std::chrono::steady_clock::now() + std::chrono::seconds(5); };
    const bool ready = eventually([&] { return store.add(item, Data(), deadline()).has_value(); });
    return ready && store.remove(item, deadline()) ? 0 : 1;
  });
  if (asking.wait() != 0) throw std::runtime_error("the keyring does not answer");
}

}  // namespace

PrivateBus::PrivateBus(const std::filesystem::path& directory, const std::string& activation) {
  std::filesystem::create_directory(directory / "services");
  writeContent(directory / "bus.conf", configurationOf(directory));
  if (!activation.empty()) {
    writeContent(directory / "services" / "org.freedesktop.secrets.service",
                 "[D-BUS Service]\nName=org.freedesktop.secrets\nExec=" + activation + "\n");
  }
  daemon_.emplace(std::vector<std::string>{"dbus-daemon", "--nofork", "--print-address=1",
                                           "--config-file=" + (directory / "bus.conf").string()});
  setenv("DBUS_SESSION_BUS_ADDRESS", daemon_->readLine().c_str(), 1);
}

PrivateBus::~PrivateBus() { unsetenv("DBUS_SESSION_BUS_ADDRESS"); }

GnomeKeyring::GnomeKeyring(const std::filesystem::path& directory) {
  const auto runtime = directory / "runtime";
  std::filesystem::create_directory(runtime);
  chmod(runtime.c_str(), 0700);
  setenv("XDG_RUNTIME_DIR", runtime.c_str(), 1);
  daemon_.emplace(std::vector<std::string>{"gnome-keyring-daemon", "--foreground",
                                           "--components=secrets", "--unlock"},
                  "password");
  awaitKeyring();
}

ScriptedService::ScriptedService(const std::filesystem::path& directory) : directory_(directory) {}

void ScriptedService::setItems(std::string_view items) const {
  writeContent(directory_ / "items", items);
}

void ScriptedService::setScript(std::string_view script) const {
  writeContent(directory_ / "script.new", script);
  std::filesystem::rename(directory_ / "script.new", directory_ / "script");
}

void ScriptedService::start() {
  process_.reset();
  process_.emplace(std::vector<std::string>{ORX_SCRIPTED_SECRET_SERVICE, directory_ / "script",
                                            directory_ / "items", directory_ / "log"});
  process_->readLine();
  clearLog();
}

int ScriptedService::calls(std::string_view method) const {
  std::istringstream lines(contentOf(directory_ / "log"));
  int count = 0;
  for (std::string line; std::getline(lines, line);) {
    if (line.substr(0, line.find(' ')) == method) ++count;
  }
  return count;
}

void ScriptedService::clearLog() const { writeContent(directory_ / "log", ""); }

}  // namespace orx::testing
