#include "platform/keychain/secretservice/SessionBus.h"

#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <string_view>

namespace orx::platform {

namespace {

// A path inside an address: other bytes than these are written as %XX.
std::string escaped(std::string_view path) {
  constexpr std::string_view plain =
      "-_/.\\*0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz";
  constexpr std::string_view digits = "0123456789abcdef";
  std::string text;
  for (const char byte : path) {
    if (plain.find(byte) != std::string_view::npos) {
      text += byte;
      continue;
    }
    const auto value = static_cast<unsigned char>(byte);
    text += '%';
    text += digits[value >> 4U];
    text += digits[value & 15U];
  }
  return text;
}

bool isOwnSocket(const std::string& path) {
  struct stat file {};
  return stat(path.c_str(), &file) == 0 && S_ISSOCK(file.st_mode) && file.st_uid == geteuid();
}

}  // namespace

std::optional<std::string> sessionBusAddress() {
  if (const char* address = secure_getenv("DBUS_SESSION_BUS_ADDRESS"); address && *address) {
    // How users switch the bus off, and how they ask for one to be started.
    const std::string_view text = address;
    if (text.starts_with("disabled:") || text.starts_with("autolaunch:")) return std::nullopt;
    return address;
  }
  const char* directory = secure_getenv("XDG_RUNTIME_DIR");
  if (directory == nullptr || directory[0] != '/') return std::nullopt;
  const auto path = std::string(directory) + "/bus";
  if (!isOwnSocket(path)) return std::nullopt;
  return "unix:path=" + escaped(path);
}

}  // namespace orx::platform
