// SPDX-License-Identifier: MIT
#pragma once

#include <ORXAccount/platform/Error.h>

#include <memory>
#include <string>
#include <string_view>
#include <tl/expected.hpp>

namespace orx::platform {

// A value, or the error that says why there is none. `Result<void>` says whether something was
// done. The error is never null. Test before use: `*result` of a failed one is undefined, and
// `result.value()` throws.
template <typename T>
using Result = tl::expected<T, std::shared_ptr<Error>>;

// What a function returns in place of a value; it converts to a Result of any type. An error is
// handed on with `return Failure(other.error());`.
using Failure = tl::unexpected<std::shared_ptr<Error>>;

// Keys of the path that an error concerns, and of one sentence for people that says what to do.
inline constexpr std::string_view NSFilePathErrorKey = "NSFilePath";
inline constexpr std::string_view NSLocalizedRecoverySuggestionErrorKey =
    "NSLocalizedRecoverySuggestion";

// The one maker of failures. `text` is a sentence for people and becomes the error's description;
// an empty path or remedy is left out of its details.
Failure makeFailure(std::string_view domain, std::int64_t code, std::string text,
                    std::string path = {}, std::string remedy = {});

}  // namespace orx::platform
