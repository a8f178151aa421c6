// SPDX-License-Identifier: MIT
#include "platform/base/Result.h"

#include <utility>

namespace orx::platform {

Failure makeFailure(std::string_view domain, std::int64_t code, std::string text, std::string path,
                    std::string remedy) {
  Dictionary details{{NSLocalizedDescriptionKey, std::move(text)}};
  if (!path.empty()) details.set(NSFilePathErrorKey, std::move(path));
  if (!remedy.empty()) details.set(NSLocalizedRecoverySuggestionErrorKey, std::move(remedy));
  return Failure(Error::errorWithDomain_code_userInfo(domain, code, std::move(details)));
}

}  // namespace orx::platform
