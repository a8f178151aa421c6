#include "platform/http/TransportError.h"

#include <utility>

namespace orx::platform {

std::shared_ptr<Error> transportError(std::int64_t code, std::string description,
                                      const std::string& url) {
  Dictionary userInfo;
  userInfo.set(std::string(NSLocalizedDescriptionKey), std::move(description));
  userInfo.set(std::string(NSURLErrorFailingURLStringErrorKey), url);
  return Error::errorWithDomain_code_userInfo(NSURLErrorDomain, code, std::move(userInfo));
}

}  // namespace orx::platform
