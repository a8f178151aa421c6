#include "platform/process/BlockedSignals.h"

#include <initializer_list>

namespace orx::platform {

BlockedSignals::BlockedSignals() noexcept {
  sigset_t fromOutside;
  sigfillset(&fromOutside);
  for (const int fault : {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGTRAP, SIGSYS, SIGABRT}) {
    sigdelset(&fromOutside, fault);
  }
  pthread_sigmask(SIG_BLOCK, &fromOutside, &before_);
}

BlockedSignals::~BlockedSignals() { pthread_sigmask(SIG_SETMASK, &before_, nullptr); }

}  // namespace orx::platform
