// SPDX-License-Identifier: MIT
#include "devserver/PrivateFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <stdexcept>
#include <string_view>

namespace orx::devserver {
namespace {

[[noreturn]] void fail(const std::filesystem::path& path, const std::string& reason) {
  throw std::runtime_error("cannot write " + path.string() + ": " + reason);
}

bool writeAll(int file, std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t count = write(file, bytes.data(), bytes.size());
    if (count < 0 && errno != EINTR) return false;
    if (count > 0) bytes.remove_prefix(static_cast<std::size_t>(count));
  }
  return true;
}

bool beginsWith(int file, std::string_view beginning) {
  char bytes[16];
  const ssize_t count = pread(file, bytes, std::min(sizeof bytes, beginning.size()), 0);
  return count >= 0 && std::string_view(bytes, static_cast<std::size_t>(count)) == beginning;
}

}  // namespace

void writePrivateFile(const std::filesystem::path& path, const std::string& text) {
  const auto type = std::filesystem::symlink_status(path).type();
  // A rename would replace a link or a device too: /dev/null would become a key.
  if (type != std::filesystem::file_type::regular &&
      type != std::filesystem::file_type::not_found) {
    fail(path, "a link, or no file, stands there");
  }
  std::string whole = path.string() + ".XXXXXX";
  const int file = mkostemp(whole.data(), O_CLOEXEC);  // makes it 0600
  if (file < 0) fail(path, std::strerror(errno));
  const bool written = writeAll(file, text);
  if (close(file) == 0 && written && rename(whole.c_str(), path.c_str()) == 0) return;
  const std::string reason = std::strerror(errno);
  unlink(whole.c_str());
  fail(path, reason);
}

std::filesystem::path makePrivateFile(const std::filesystem::path& path,
                                      std::string_view beginning) {
  // O_NONBLOCK: opening a FIFO would otherwise wait for somebody at its other end.
  const int file = open(path.c_str(), O_RDWR | O_CREAT | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC, 0600);
  if (file < 0) fail(path, std::strerror(errno));
  struct stat about {};
  const bool isFile = fstat(file, &about) == 0 && S_ISREG(about.st_mode);
  const bool isForeign = isFile && about.st_size != 0 && !beginsWith(file, beginning);
  const bool good = isFile && !isForeign && fchmod(file, 0600) == 0;
  close(file);
  if (isForeign) fail(path, "it holds something else");
  if (!good) fail(path, "it is no file of this user's");
  const auto whole = std::filesystem::absolute(path);
  return std::filesystem::canonical(whole.parent_path()) / whole.filename();
}

}  // namespace orx::devserver
