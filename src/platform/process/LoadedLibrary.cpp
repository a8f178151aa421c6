// SPDX-License-Identifier: MIT
#include "platform/process/LoadedLibrary.h"

#include <dlfcn.h>

#include "platform/process/Signals.h"

namespace orx::platform {

LoadedLibrary::LoadedLibrary(const char* name) {
  // If a signal interrupts the reading of a file, the dynamic linker reports that there is none.
  const BlockedSignals blocked;
  handle_ = dlopen(name, RTLD_LAZY | RTLD_LOCAL | RTLD_NODELETE);
  if (handle_ == nullptr) missing_ = dlerror();
}

void* LoadedLibrary::address(const char* name) {
  void* found = handle_ != nullptr ? dlsym(handle_, name) : nullptr;
  if (found == nullptr && missing_.empty()) missing_ = dlerror();
  return found;
}

}  // namespace orx::platform
