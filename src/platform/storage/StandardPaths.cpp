// SPDX-License-Identifier: MIT
#include "platform/storage/StandardPaths.h"

#include <errno.h>
#include <pwd.h>
#include <stdlib.h>
#include <unistd.h>

#include <array>
#include <vector>

namespace orx::platform {

namespace {

std::optional<std::string> absolutePathFrom(const char* variable) {
  const char* value = secure_getenv(variable);
  if (value == nullptr || value[0] != '/') return std::nullopt;
  return value;
}

std::optional<std::string> homeInUserDatabase() {
  std::vector<char> buffer(1024);
  passwd entry{};
  passwd* found = nullptr;
  while (getpwuid_r(geteuid(), &entry, buffer.data(), buffer.size(), &found) == ERANGE &&
         buffer.size() < std::size_t{1024} * 1024) {
    buffer.resize(buffer.size() * 2);
  }
  if (found == nullptr || found->pw_dir == nullptr || found->pw_dir[0] != '/') return std::nullopt;
  return found->pw_dir;
}

std::optional<std::string> baseDirectory(const char* variable, std::string_view belowHome) {
  if (auto path = absolutePathFrom(variable)) return path;
  auto home = absolutePathFrom("HOME");
  if (!home) home = homeInUserDatabase();
  if (home) *home += belowHome;
  return home;
}

}  // namespace

std::optional<std::string> configurationHome() {
  return baseDirectory(configurationHomeVariable, "/.config");
}

std::optional<std::string> dataHome() { return baseDirectory(dataHomeVariable, "/.local/share"); }

std::string programName() {
  if (program_invocation_short_name[0] != '\0') return program_invocation_short_name;
  std::array<char, 4096> target{};
  const auto length = readlink("/proc/self/exe", target.data(), target.size());
  if (length <= 0) return "program";
  const std::string_view path(target.data(), static_cast<std::size_t>(length));
  return std::string(path.substr(path.rfind('/') + 1));
}

std::string percentEncoded(std::string_view text, std::string_view plain) {
  static constexpr std::string_view digits = "0123456789ABCDEF";
  std::string encoded;
  for (const char byte : text) {
    if (plain.find(byte) != std::string_view::npos) {
      encoded += byte;
    } else {
      const auto value = static_cast<unsigned char>(byte);
      encoded += {'%', digits[value >> 4U], digits[value & 15U]};
    }
  }
  return encoded;
}

std::string pathComponent(std::string_view text) {
  if (text.empty()) return "%";
  auto component =
      percentEncoded(text, "0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz-_.");
  // A file that begins with a dot is hidden, and "." and ".." are directories.
  if (component.starts_with('.')) component.replace(0, 1, "%2E");
  return component;
}

}  // namespace orx::platform
