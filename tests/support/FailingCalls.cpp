// SPDX-License-Identifier: MIT
#include "support/FailingCalls.h"

#include <errno.h>
#include <fcntl.h>
#include <stdarg.h>
#include <sys/epoll.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cstdint>
#include <mutex>
#include <string>
#include <string_view>

namespace orx::testing {
namespace {

using Function = FailingCalls::Function;

struct Plan {
  Function function{};
  int error = 0;
  unsigned first = 0;
  unsigned last = 0;
  unsigned step = 1;
};
std::mutex mutex;
Plan plan;  // under the mutex
std::atomic<bool> isOn = false;
std::atomic<unsigned> counted = 0;

// True, with errno set, when this call is to fail.
bool fails(Function function) {
  if (!isOn) return false;
  const std::lock_guard lock(mutex);
  if (plan.function != function) return false;
  const unsigned number = ++counted;
  if (number < plan.first || number > plan.last) return false;
  if ((number - plan.first) % plan.step != 0) return false;
  errno = plan.error;
  return true;
}

bool isEventDescriptor(int descriptor) {
  std::array<char, 64> name{};
  const auto link = "/proc/self/fd/" + std::to_string(descriptor);
  const auto size = readlink(link.c_str(), name.data(), name.size() - 1);
  return size > 0 && std::string_view(name.data()) == "anon_inode:[eventfd]";
}

}  // namespace

FailingCalls::FailingCalls(Function function, int error, unsigned first, unsigned last,
                           unsigned step) {
  const std::lock_guard lock(mutex);
  plan = {.function = function, .error = error, .first = first, .last = last, .step = step};
  counted = 0;
  isOn = true;
}

FailingCalls::~FailingCalls() { isOn = false; }

unsigned FailingCalls::count() const { return counted; }

}  // namespace orx::testing

using orx::testing::FailingCalls;
using orx::testing::fails;
using orx::testing::isEventDescriptor;
using orx::testing::isOn;

// Visible outside the program, so that libcurl calls them too.
#pragma GCC visibility push(default)
extern "C" {

int socket(int family, int type, int protocol) noexcept {
  if ((type & SOCK_NONBLOCK) != 0 && fails(FailingCalls::Function::socket)) return -1;
  return static_cast<int>(syscall(SYS_socket, family, type, protocol));
}

ssize_t send(int descriptor, const void* bytes, size_t length, int flags) {
  if (fails(FailingCalls::Function::send)) return -1;
  return syscall(SYS_sendto, descriptor, bytes, length, flags, nullptr, 0);
}

ssize_t recv(int descriptor, void* bytes, size_t length, int flags) {
  if (fails(FailingCalls::Function::recv)) return -1;
  return syscall(SYS_recvfrom, descriptor, bytes, length, flags, nullptr, nullptr);
}

int epoll_ctl(int poller, int operation, int descriptor, epoll_event* event) noexcept {
  if (fails(FailingCalls::Function::epoll_ctl)) return -1;
  return static_cast<int>(syscall(SYS_epoll_ctl, poller, operation, descriptor, event));
}

ssize_t write(int descriptor, const void* bytes, size_t length) {
  const bool wakes = isOn && length == sizeof(std::uint64_t) && isEventDescriptor(descriptor);
  if (wakes && fails(FailingCalls::Function::write)) return -1;
  return syscall(SYS_write, descriptor, bytes, length);
}

// All arguments that follow the command fit in a long.
int fcntl(int descriptor, int command, ...) {
  va_list more;
  va_start(more, command);
  const long argument = va_arg(more, long);
  va_end(more);
  if (fails(FailingCalls::Function::fcntl)) return -1;
  return static_cast<int>(syscall(SYS_fcntl, descriptor, command, argument));
}

}  // extern "C"
#pragma GCC visibility pop
