#pragma once

#include <ORXAccount/platform/Error.h>

#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace orx {

// Domain of the errors that carry an HTTP status as their code.
inline constexpr std::string_view kORVAAccountAPIErrorDomain = "ORVAAccountAPIErrorDomain";

// An error of kORVAAccountErrorDomain. Without a description it carries no details.
std::shared_ptr<Error> serviceError(std::int64_t code,
                                    const std::optional<std::string>& description);

// The code that stands for one of the service's own texts, 7 for any other.
std::int64_t codeOfDescription(std::string_view description);

// The error of an answer whose HTTP status is not the one that the operation wants.
std::shared_ptr<Error> statusError(long statusCode);

// The error of an answer that is JSON, but not of the form that the service promises.
std::shared_ptr<Error> unexpectedJSONError(std::string_view description);

}  // namespace orx
