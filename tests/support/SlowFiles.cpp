// SPDX-License-Identifier: MIT
#include "support/SlowFiles.h"

#include <linux/filter.h>
#include <linux/seccomp.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <array>
#include <cstddef>
#include <memory>
#include <stdexcept>
#include <thread>

#include "platform/storage/FileDescriptor.h"
#include "support/Await.h"

namespace orx::testing {

using namespace platform;

namespace {

constexpr std::array<unsigned, 5> slowCalls = {SYS_openat, SYS_read, SYS_write, SYS_fsync,
                                               SYS_flock};

// Installs a seccomp filter: from now on the kernel holds each slow call of this thread until it is
// answered through the returned descriptor.
FileDescriptor holdSlowCalls() {
  std::array<sock_filter, slowCalls.size() + 3> program{};
  std::size_t at = 0;
  program.at(at++) = BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr));
  for (const unsigned call : slowCalls) {
    const auto toTheEnd = static_cast<unsigned char>(slowCalls.size() + 1 - at);
    program.at(at++) = BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, call, toTheEnd, 0);
  }
  program.at(at++) = BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW);
  program.at(at++) = BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_USER_NOTIF);
  const sock_fprog filter{.len = static_cast<unsigned short>(at), .filter = program.data()};
  prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0);
  return FileDescriptor(static_cast<int>(
      syscall(SYS_seccomp, SECCOMP_SET_MODE_FILTER, SECCOMP_FILTER_FLAG_NEW_LISTENER, &filter)));
}

// Answers each held call after `delay`, until the last thread with the filter has ended.
void letThrough(const FileDescriptor& held, std::chrono::milliseconds delay) {
  for (;;) {
    pollfd state{.fd = held.get(), .events = POLLIN, .revents = 0};
    if (poll(&state, 1, -1) > 0 && (state.revents & POLLIN) == 0) return;
    seccomp_notif call{};
    // Fails when a signal has ended the call meanwhile; sending the answer below may fail likewise.
    if (ioctl(held.get(), SECCOMP_IOCTL_NOTIF_RECV, &call) != 0) continue;
    std::this_thread::sleep_for(delay);
    seccomp_notif_resp answer{};
    answer.id = call.id;
    answer.flags = SECCOMP_USER_NOTIF_FLAG_CONTINUE;
    ioctl(held.get(), SECCOMP_IOCTL_NOTIF_SEND, &answer);
  }
}

}  // namespace

void withSlowFiles(std::chrono::milliseconds delay, const std::function<void()>& work) {
  const auto handover = std::make_shared<Mailbox<FileDescriptor>>();
  // Start this thread before any call is held: a held call can block the start of a thread. It is
  // detached because threads of `work`, which it serves, can outlive this function.
  std::thread([handover, delay] { letThrough(handover->take(), delay); }).detach();
  std::thread([&] {
    auto held = holdSlowCalls();
    if (!held) throw std::runtime_error("the kernel holds no system calls");
    handover->put(std::move(held));
    work();
  }).join();
}

}  // namespace orx::testing
