#include "platform/keychain/secretservice/SessionBus.h"

#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <string_view>

#include "platform/storage/StandardPaths.h"

namespace orx::platform {

namespace {

// What a path inside an address may hold as it is.
constexpr std::string_view plainInAddress =
    "-_/.\\*0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz";

bool isOwnSocket(const std::string& path) {
  struct stat file {};
  return stat(path.c_str(), &file) == 0 && S_ISSOCK(file.st_mode) && file.st_uid == geteuid();
}

}  // namespace

std::optional<std::string> sessionBusAddress() {
  if (const char* address = secure_getenv("DBUS_SESSION_BUS_ADDRESS"); address && *address) {
    // The first says that the bus is switched off. The second asks for one to be started, which a
    // library must not do.
    const std::string_view text = address;
    if (text.starts_with("disabled:") || text.starts_with("autolaunch:")) return std::nullopt;
    return address;
  }
  const char* directory = secure_getenv("XDG_RUNTIME_DIR");
  if (directory == nullptr || directory[0] != '/') return std::nullopt;
  const auto path = std::string(directory) + "/bus";
  if (!isOwnSocket(path)) return std::nullopt;
  return "unix:path=" + percentEncoded(path, plainInAddress);
}

}  // namespace orx::platform
