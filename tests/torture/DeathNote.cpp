// SPDX-License-Identifier: MIT
#include "torture/DeathNote.h"

#include <execinfo.h>
#include <signal.h>
#include <unistd.h>

#include <atomic>
#include <string_view>

#include "torture/Allocations.h"

namespace orx::torture {

namespace {

constinit int note = -1;
constinit std::atomic<bool> isWritten = false;

void writeFrames(std::string_view title, const Frames& frames) {
  if (::write(note, title.data(), title.size()) < 0) return;
  backtrace_symbols_fd(frames.addresses.data(), frames.count, note);
}

void onDeath(int signal) {
  endAllocations();
  if (!isWritten.exchange(true)) {
    writeFrames("death\n", framesHere());
    writeFrames("failed\n", framesOfFailure());
  }
  ::signal(signal, SIG_DFL);
  raise(signal);
}

}  // namespace

void leaveDeathNote(int descriptor) {
  note = descriptor;
  for (const int signal : {SIGABRT, SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGTRAP, SIGALRM}) {
    struct sigaction action {};
    action.sa_handler = &onDeath;
    sigaction(signal, &action, nullptr);
  }
}

void leaveNoDeathNote() noexcept {
  while (isWritten.exchange(true)) pause();
}

}  // namespace orx::torture
