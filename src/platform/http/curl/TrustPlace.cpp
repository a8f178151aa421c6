// SPDX-License-Identifier: MIT
#include "platform/http/curl/TrustPlace.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <string_view>

#include "platform/process/DirectoryListing.h"

namespace orx::platform {
namespace {

// "5ed36f99.0": eight hexadecimal digits and a number, as `openssl rehash` names its links.
bool isHashName(std::string_view name) {
  constexpr std::size_t hashLength = 8;
  const auto isHex = [](unsigned char c) { return std::isxdigit(c) != 0; };
  const auto isDigit = [](unsigned char c) { return std::isdigit(c) != 0; };
  return name.size() > hashLength + 1 && name[hashLength] == '.' &&
         std::ranges::all_of(name.substr(0, hashLength), isHex) &&
         std::ranges::all_of(name.substr(hashLength + 1), isDigit);
}

bool hasHashes(const char* directory) {
  const DirectoryListing listing(opendir(directory));
  while (const dirent* entry = listing ? readdir(listing.get()) : nullptr) {
    if (isHashName(entry->d_name)) return true;
  }
  return false;
}

}  // namespace

std::optional<TrustPlace> systemTrust(const char* bundle, const char* directory) {
  if (directory != nullptr && hasHashes(directory)) return TrustPlace{directory, true};
  if (bundle != nullptr && access(bundle, R_OK) == 0) return TrustPlace{bundle, false};
  return std::nullopt;
}

FileState::FileState(const std::string& path) {
  struct stat file {};
  if (stat(path.c_str(), &file) != 0) return;
  isDirectory_ = S_ISDIR(file.st_mode);
  if (!isDirectory_ && !S_ISREG(file.st_mode)) return;
  const auto number = [](auto value) { return static_cast<std::uint64_t>(value); };
  marks_ = {number(file.st_dev),         number(file.st_ino),          number(file.st_size),
            number(file.st_mtim.tv_sec), number(file.st_mtim.tv_nsec), number(file.st_ctim.tv_sec),
            number(file.st_ctim.tv_nsec)};
}

std::string FileState::respelled(const std::string& path) const {
  if (!marks_) return path + "/.";
  // FNV-1a, and then each bit of it as a step that leads nowhere: "/" or "/.".
  std::uint64_t hash = 0xCBF29CE484222325U;
  for (const std::uint64_t mark : *marks_) hash = (hash ^ mark) * 0x100000001B3U;
  std::string name = path.starts_with('/') ? "" : ".";
  for (; hash != 0; hash >>= 1U) name += (hash & 1U) != 0 ? "/." : "/";
  return name + '/' + path;
}

}  // namespace orx::platform
