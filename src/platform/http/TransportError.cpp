// SPDX-License-Identifier: MIT
#include "platform/http/TransportError.h"

#include <utility>

#include "platform/http/URLParser.h"

namespace orx::platform {

std::shared_ptr<Error> transportError(std::int64_t code, std::string description,
                                      const std::string& url) {
  return Error::errorWithDomain_code_userInfo(
      NSURLErrorDomain, code,
      {{NSLocalizedDescriptionKey, std::move(description)},
       {NSURLErrorFailingURLStringErrorKey, shownURL(url)}});
}

}  // namespace orx::platform
