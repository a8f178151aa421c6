#pragma once

#include <string>
#include <string_view>

#include "platform/URLSession.h"

namespace orx {

// Sends a POST of `body` to `url` on a session of its own; the one header is the content type.
void startPost(const URL& url, std::string_view contentType, std::string body,
               URLSession::CompletionHandler completionHandler);

}  // namespace orx
