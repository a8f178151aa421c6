// SPDX-License-Identifier: MIT
#include "torture/FaultPlan.h"

#include <errno.h>
#include <fcntl.h>
#include <signal.h>
#include <stdarg.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>

#include "torture/Allocations.h"
#include "torture/Passage.h"

namespace orx::torture {

namespace {

using Action = FaultPlan::Action;

FaultPlan plan;
std::atomic<bool> counting = false;
// Only calls of the operation's thread are counted. GLib and OpenSSL make calls on other threads in
// no fixed order, so with them a call's number would differ from run to run.
thread_local bool counts = false;
std::atomic<unsigned> counted = 0;
std::array<const char*, 4096> names;
// Descriptors of files that were created. Some file systems report a failed write only at close().
std::array<std::atomic<bool>, 1024> created;

void killHere() { syscall(SYS_kill, getpid(), SIGKILL); }

}  // namespace

Passage::Passage(const char* name, Side side) {
  if (!counting) return;
  const bool isOfOperation =
      counts && (side == Side::Write || (side == Side::Read && plan.readsToo));
  if (!plan.everywhere && !isOfOperation) return;
  if (!plan.call.empty() && plan.call != name) return;
  const unsigned number = ++counted;
  if (number <= names.size()) names[number - 1] = name;
  meant_ = number == plan.at || (plan.forEver && plan.at != 0 && number > plan.at);
  if (meant_ && plan.action == Action::KillBefore) killHere();
  if (fails()) noteFailure();
}

bool Passage::fails() const { return meant_ && plan.action == Action::Fail; }
bool Passage::isShort() const { return meant_ && plan.action == Action::ShortWrite; }
int Passage::error() { return plan.number; }

void Passage::killAfter() const {
  if (meant_ && plan.action == Action::KillAfter) killHere();
}

namespace {

long passed(const char* name, Side side, auto... words) {
  return Passage(name, side).through([&] { return syscall(words...); });
}

int opened(const char* name, int directory, const char* path, int flags, mode_t mode) {
  const bool creates = (flags & O_CREAT) != 0;
  const auto descriptor = static_cast<int>(
      passed(name, creates ? Side::Write : Side::Read, SYS_openat, directory, path, flags, mode));
  if (creates && descriptor >= 0 && descriptor < static_cast<int>(created.size())) {
    created[static_cast<std::size_t>(descriptor)] = true;
  }
  return descriptor;
}

}  // namespace

void begin(const FaultPlan& newPlan) {
  plan = newPlan;
  counted = 0;
  counts = true;
  counting = true;
}

std::vector<std::string> end() {
  counting = false;
  const auto known = std::min<std::size_t>(counted, names.size());
  return {names.begin(), names.begin() + static_cast<std::ptrdiff_t>(known)};
}

}  // namespace orx::torture

using orx::torture::created;
using orx::torture::opened;
using orx::torture::Passage;
using orx::torture::passed;
using orx::torture::Side;

extern "C" {

int open(const char* path, int flags, ...) {
  va_list more;
  va_start(more, flags);
  const mode_t mode = (flags & O_CREAT) != 0 ? va_arg(more, mode_t) : 0;
  va_end(more);
  return opened("open", AT_FDCWD, path, flags, mode);
}

int openat(int directory, const char* path, int flags, ...) {
  va_list more;
  va_start(more, flags);
  const mode_t mode = (flags & O_CREAT) != 0 ? va_arg(more, mode_t) : 0;
  va_end(more);
  return opened("openat", directory, path, flags, mode);
}

// The descriptor is closed even when the call fails, as the kernel does.
int close(int descriptor) {
  const bool writes = descriptor >= 0 && descriptor < static_cast<int>(created.size()) &&
                      created[static_cast<std::size_t>(descriptor)].exchange(false);
  if (!writes) return static_cast<int>(syscall(SYS_close, descriptor));
  const Passage passage("close", Side::Write);
  if (passage.fails()) syscall(SYS_close, descriptor);
  return static_cast<int>(passage.through([&] { return syscall(SYS_close, descriptor); }));
}

ssize_t write(int descriptor, const void* bytes, size_t length) {
  const Passage passage("write", Side::Write);
  if (passage.isShort()) length = orx::torture::plan.number == 0 ? 0 : (length + 1) / 2;
  return passage.through([&] { return syscall(SYS_write, descriptor, bytes, length); });
}

ssize_t read(int descriptor, void* bytes, size_t length) {
  return passed("read", Side::Read, SYS_read, descriptor, bytes, length);
}

int mkdir(const char* path, mode_t mode) noexcept {
  return static_cast<int>(passed("mkdir", Side::Write, SYS_mkdirat, AT_FDCWD, path, mode));
}

int fsync(int descriptor) {
  return static_cast<int>(passed("fsync", Side::Write, SYS_fsync, descriptor));
}

// Named otherwise in C++ because <sys/file.h> declares a struct flock as well.
int interposedFlock(int descriptor, int operation) noexcept __asm__("flock");
int interposedFlock(int descriptor, int operation) noexcept {
  return static_cast<int>(passed("flock", Side::Write, SYS_flock, descriptor, operation));
}

int renameat(int from, const char* old, int to, const char* name) noexcept {
  return static_cast<int>(passed("renameat", Side::Write, SYS_renameat2, from, old, to, name, 0));
}

int linkat(int from, const char* old, int to, const char* name, int flags) noexcept {
  return static_cast<int>(passed("linkat", Side::Write, SYS_linkat, from, old, to, name, flags));
}

int unlinkat(int directory, const char* path, int flags) noexcept {
  return static_cast<int>(passed("unlinkat", Side::Write, SYS_unlinkat, directory, path, flags));
}

int chmod(const char* path, mode_t mode) noexcept {
  return static_cast<int>(passed("chmod", Side::Write, SYS_fchmodat, AT_FDCWD, path, mode));
}

int fchmod(int descriptor, mode_t mode) noexcept {
  return static_cast<int>(passed("fchmod", Side::Write, SYS_fchmod, descriptor, mode));
}

int fchown(int descriptor, uid_t owner, gid_t group) noexcept {
  return static_cast<int>(passed("fchown", Side::Write, SYS_fchown, descriptor, owner, group));
}

int fchmodat(int directory, const char* path, mode_t mode, int /*flags*/) noexcept {
  return static_cast<int>(passed("fchmodat", Side::Write, SYS_fchmodat, directory, path, mode));
}

int fstat(int descriptor, struct stat* state) noexcept {
  return static_cast<int>(
      passed("fstat", Side::Read, SYS_newfstatat, descriptor, "", state, AT_EMPTY_PATH));
}

int fstatat(int directory, const char* path, struct stat* state, int flags) noexcept {
  return static_cast<int>(
      passed("fstatat", Side::Read, SYS_newfstatat, directory, path, state, flags));
}

int lstat(const char* path, struct stat* state) noexcept {
  return static_cast<int>(
      passed("lstat", Side::Read, SYS_newfstatat, AT_FDCWD, path, state, AT_SYMLINK_NOFOLLOW));
}

}  // extern "C"
