// SPDX-License-Identifier: MIT
#pragma once

#include <ORXAccount/platform/Error.h>

#include <cstdint>
#include <memory>
#include <string>

namespace orx::platform {

// A record of NSURLErrorDomain with the description and the URL that failed, which may be empty. Of
// the URL only what may be shown goes into the record.
std::shared_ptr<Error> transportError(std::int64_t code, std::string description,
                                      const std::string& url);

}  // namespace orx::platform
