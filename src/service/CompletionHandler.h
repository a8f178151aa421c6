#pragma once

#include <ORXAccount/ORVAAccountAPI.h>

namespace orx {

// Throws std::invalid_argument for an empty handler, which would leave its call unanswered.
ORVAAccountAPICompletionHandler required(ORVAAccountAPICompletionHandler completionHandler);

}  // namespace orx
