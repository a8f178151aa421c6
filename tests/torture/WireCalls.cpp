// SPDX-License-Identifier: MIT
// The calls about connections and threads, of the library and of the libraries that it uses.
#include <dlfcn.h>
#include <fcntl.h>
#include <netdb.h>
#include <poll.h>
#include <pthread.h>
#include <stdarg.h>
#include <stdio.h>
#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <sys/mman.h>
#include <sys/random.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <unistd.h>

#include "torture/Passage.h"

namespace orx::torture {

namespace {

long passed(const char* name, auto... words) {
  return Passage(name, Side::Wire).through([&] { return syscall(words...); });
}

int passedInt(const char* name, auto... words) { return static_cast<int>(passed(name, words...)); }

// The C library's own function of this name.
template <typename Function>
Function* original(Function& interposed, const char* name) {
  (void)interposed;
  return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

// What the resolver says of a call of its own that failed.
int resolverError(int number) {
  if (number == ENOMEM) return EAI_MEMORY;
  if (number == EAGAIN) return EAI_AGAIN;
  errno = number;
  return EAI_SYSTEM;
}

int passedFcntl(int descriptor, int command, long argument) {
  return passedInt("fcntl", SYS_fcntl, descriptor, command, argument);
}

}  // namespace

}  // namespace orx::torture

using orx::torture::original;
using orx::torture::Passage;
using orx::torture::passed;
using orx::torture::passedFcntl;
using orx::torture::passedInt;
using orx::torture::resolverError;
using orx::torture::Side;

// Visible outside the program, so that the vendors call them too.
#pragma GCC visibility push(default)
extern "C" {

int pthread_create(pthread_t* thread, const pthread_attr_t* attributes, void* (*body)(void*),
                   void* argument) noexcept {
  const Passage passage("pthread_create", Side::Wire);
  if (passage.fails()) return Passage::error();
  static auto* const create = original(pthread_create, "pthread_create");
  return create(thread, attributes, body, argument);
}

int epoll_create1(int flags) noexcept {
  return passedInt("epoll_create1", SYS_epoll_create1, flags);
}

int epoll_ctl(int poller, int operation, int descriptor, epoll_event* event) noexcept {
  return passedInt("epoll_ctl", SYS_epoll_ctl, poller, operation, descriptor, event);
}

int epoll_wait(int poller, epoll_event* events, int most, int milliseconds) {
  return passedInt("epoll_wait", SYS_epoll_wait, poller, events, most, milliseconds);
}

int eventfd(unsigned count, int flags) noexcept {
  return passedInt("eventfd", SYS_eventfd2, count, flags);
}

int poll(pollfd* descriptors, nfds_t count, int milliseconds) {
  return passedInt("poll", SYS_poll, descriptors, count, milliseconds);
}

int socket(int family, int type, int protocol) noexcept {
  return passedInt("socket", SYS_socket, family, type, protocol);
}

int connect(int descriptor, const sockaddr* address, socklen_t length) {
  return passedInt("connect", SYS_connect, descriptor, address, length);
}

ssize_t send(int descriptor, const void* bytes, size_t length, int flags) {
  return passed("send", SYS_sendto, descriptor, bytes, length, flags, nullptr, 0);
}

ssize_t recv(int descriptor, void* bytes, size_t length, int flags) {
  return passed("recv", SYS_recvfrom, descriptor, bytes, length, flags, nullptr, nullptr);
}

ssize_t sendmsg(int descriptor, const msghdr* message, int flags) {
  return passed("sendmsg", SYS_sendmsg, descriptor, message, flags);
}

ssize_t recvmsg(int descriptor, msghdr* message, int flags) {
  return passed("recvmsg", SYS_recvmsg, descriptor, message, flags);
}

int setsockopt(int descriptor, int level, int name, const void* value, socklen_t length) noexcept {
  return passedInt("setsockopt", SYS_setsockopt, descriptor, level, name, value, length);
}

int getsockopt(int descriptor, int level, int name, void* value, socklen_t* length) noexcept {
  return passedInt("getsockopt", SYS_getsockopt, descriptor, level, name, value, length);
}

int getsockname(int descriptor, sockaddr* address, socklen_t* length) noexcept {
  return passedInt("getsockname", SYS_getsockname, descriptor, address, length);
}

int getpeername(int descriptor, sockaddr* address, socklen_t* length) noexcept {
  return passedInt("getpeername", SYS_getpeername, descriptor, address, length);
}

// All arguments that follow the command fit in a long.
int fcntl(int descriptor, int command, ...) {
  va_list more;
  va_start(more, command);
  const long argument = va_arg(more, long);
  va_end(more);
  return passedFcntl(descriptor, command, argument);
}

int fcntl64(int descriptor, int command, ...) {
  va_list more;
  va_start(more, command);
  const long argument = va_arg(more, long);
  va_end(more);
  return passedFcntl(descriptor, command, argument);
}

// Every host is this machine, so that the trials need no name that the system can resolve.
int getaddrinfo(const char* /*host*/, const char* service, const addrinfo* hints,
                addrinfo** found) {
  if (Passage("getaddrinfo", Side::Wire).fails()) return resolverError(Passage::error());
  static auto* const resolve = original(getaddrinfo, "getaddrinfo");
  return resolve("127.0.0.1", service, hints, found);
}

int getnameinfo(const sockaddr* address, socklen_t size, char* host, socklen_t hostSize,
                char* service, socklen_t serviceSize, int flags) {
  if (Passage("getnameinfo", Side::Wire).fails()) return resolverError(Passage::error());
  static auto* const name = original(getnameinfo, "getnameinfo");
  return name(address, size, host, hostSize, service, serviceSize, flags);
}

int getentropy(void* bytes, size_t size) {
  const long taken = passed("getentropy", SYS_getrandom, bytes, size, 0);
  return taken == static_cast<long>(size) ? 0 : -1;
}

ssize_t getrandom(void* bytes, size_t size, unsigned flags) {
  return passed("getrandom", SYS_getrandom, bytes, size, flags);
}

void* mmap(void* place, size_t size, int protection, int flags, int descriptor,
           off_t offset) noexcept {
  // As the system call gives it. NOLINTNEXTLINE(performance-no-int-to-ptr)
  return reinterpret_cast<void*>(
      passed("mmap", SYS_mmap, place, size, protection, flags, descriptor, offset));
}

FILE* fopen(const char* path, const char* mode) {
  const Passage passage("fopen", Side::Wire);
  if (passage.fails()) {
    errno = Passage::error();
    return nullptr;
  }
  static auto* const open = original(fopen, "fopen");
  return open(path, mode);
}

FILE* fopen64(const char* path, const char* mode) { return fopen(path, mode); }

}  // extern "C"
#pragma GCC visibility pop
