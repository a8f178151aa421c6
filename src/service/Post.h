#pragma once

#include <string>

#include "platform/http/URLSession.h"

namespace orx {

// What a body is, in UTF-8 either way.
enum class PostContent { xml, json };

// Sends a POST of `body` to `url` on a session of its own; the one header is the content type.
void startPost(const URL& url, PostContent content, std::string body,
               platform::URLSession::CompletionHandler completionHandler);

}  // namespace orx
