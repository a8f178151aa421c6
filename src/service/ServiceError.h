// SPDX-License-Identifier: MIT
#pragma once

#include <ORXAccount/platform/Error.h>

#include <memory>
#include <optional>
#include <string>

namespace orx::service {

// An error of kORVAAccountErrorDomain. Without a description it carries no details.
std::shared_ptr<Error> serviceError(std::int64_t code,
                                    const std::optional<std::string>& description);

// The error for the words with which the service refused a call: a code of its own for each text
// that is known, kORVAAccountErrorOther for any other text and for none.
std::shared_ptr<Error> refusalError(const std::optional<std::string>& description);

// The error of an answer whose HTTP status is not the one that the operation wants: domain
// kORVAAccountAPIErrorDomain, the status as code, no details.
std::shared_ptr<Error> statusError(long statusCode);

}  // namespace orx::service
