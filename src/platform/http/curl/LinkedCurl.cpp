// SPDX-License-Identifier: MIT
// Of the static library alone.
#include "platform/http/curl/LibCurl.h"

namespace orx::platform {

std::string unloadedLibcurl() { return {}; }

}  // namespace orx::platform
