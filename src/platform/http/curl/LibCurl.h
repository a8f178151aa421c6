// SPDX-License-Identifier: MIT
#pragma once

#include <string>

namespace orx::platform {

// Loads and begins libcurl, and with it OpenSSL, unless that is done already. Empty when it is;
// else what is missing, for people. From any thread that holds none of forkLocks. Comes before any
// other use of libcurl, so whoever reads a URL or starts a transfer calls it first.
std::string missingLibcurl();

// The first half of it: what cannot be loaded, in the dynamic linker's words. The static library is
// linked with both. Two threads may do it at the same time.
std::string unloadedLibcurl();

}  // namespace orx::platform
