// SPDX-License-Identifier: MIT
#pragma once

#include <string>

namespace orx::platform {

// Loads libcurl, and with it OpenSSL, unless they are there already. Empty when they are; else what
// is missing, in the dynamic linker's words. The static library is linked with both. From any
// thread that holds none of forkLocks. Comes before any other use of libcurl, so whoever reads a
// URL or starts a transfer calls it first.
std::string missingLibcurl();

}  // namespace orx::platform
