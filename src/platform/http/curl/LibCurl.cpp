// SPDX-License-Identifier: MIT
#include "platform/http/curl/LibCurl.h"

#include <atomic>
#include <mutex>

#include "platform/http/curl/TLSOptions.h"
#include "platform/process/ForkSafety.h"

namespace orx::platform {
namespace {

constinit std::atomic<bool> hasBegun = false;

}  // namespace

// Begun only by the first transfer, libcurl would change its memory functions under a thread that
// reads a URL, and free what that has read of a proxy's password unwiped.
std::string missingLibcurl() {
  if (hasBegun) return {};
  if (std::string missing = unloadedLibcurl(); !missing.empty()) return missing;
  const std::lock_guard lock(forkLocks.transferEngine);
  if (!hasBegun) hasBegun = initialiseCurlWithoutKeyLog();
  return hasBegun ? "" : "libcurl: there is no memory for it";
}

}  // namespace orx::platform
