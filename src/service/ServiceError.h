#pragma once

#include <ORXAccount/platform/Error.h>

#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace orx::service {

// An error of kORVAAccountErrorDomain. Without a description it carries no details.
std::shared_ptr<Error> serviceError(std::int64_t code,
                                    const std::optional<std::string>& description);

// The code of one of the service's known texts; kORVAAccountErrorOther for any other text, the
// empty one included.
std::int64_t codeOfDescription(std::string_view description);

// The error of an answer whose HTTP status is not the one that the operation wants: domain
// kORVAAccountAPIErrorDomain, the status as code, no details.
std::shared_ptr<Error> statusError(long statusCode);

// The error of an answer that is JSON, but not of the form that the service promises.
std::shared_ptr<Error> unexpectedJSONError(std::string_view description);

}  // namespace orx::service
