#pragma once

#include <ORXAccount/platform/Data.h>
#include <ORXAccount/platform/Error.h>
#include <ORXAccount/platform/URL.h>

#include <functional>
#include <memory>
#include <optional>
#include <string>

namespace orx::service {

// What came of one request. A complete reply, of any status, has data and status; a transfer that
// broke off in the body has all three, with the bytes that had arrived; any other failure has the
// error alone.
struct Reply {
  std::optional<Data> data;
  long statusCode = 0;  // 0 when no reply came
  std::shared_ptr<Error> error;
};

// Called once, on a background thread. Must not throw.
using ReplyHandler = std::function<void(const Reply& reply)>;

// What a body is, in UTF-8 either way.
enum class PostContent { xml, json };

// Sends a POST of `body` to `url` on a session of its own; the one header is the content type. The
// only place where the operations meet the transport.
void startPost(const URL& url, PostContent content, std::string body, ReplyHandler replyHandler);

}  // namespace orx::service
