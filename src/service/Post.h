#pragma once

#include <string>

#include "platform/URLSession.h"

namespace orx {

enum class PostContent { xml, json };

// Sends a POST of `body` to `url` on a session of its own; the one header is the content type.
void startPost(const URL& url, PostContent content, std::string body,
               URLSession::CompletionHandler completionHandler);

}  // namespace orx
