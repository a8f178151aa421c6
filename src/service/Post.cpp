#include "service/Post.h"

#include <utility>

#include "platform/http/DefaultConfiguration.h"
#include "platform/http/URLSession.h"
#include "platform/process/ForkSafety.h"

namespace orx::service {

using namespace platform;

namespace {

using SharedFields = std::shared_ptr<const HeaderFields>;

// Made once and shared by all requests.
const SharedFields& headerFieldsFor(PostContent content) {
  static constinit ProcessWide<SharedFields> xml;
  static constinit ProcessWide<SharedFields> json;
  if (content == PostContent::xml) {
    return xml.get([] { return sharedFields({{"Content-Type", "text/xml; charset=utf-8"}}); });
  }
  return json.get([] { return sharedFields({{"Content-Type", "application/json"}}); });
}

}  // namespace

void startPost(const URL& url, PostContent content, std::string body, ReplyHandler replyHandler) {
  URLSession::startOnlyTask({.url = url,
                             .httpMethod = "POST",
                             .headerFields = headerFieldsFor(content),
                             .httpBody = std::move(body)},
                            sharedDefaultConfiguration(),
                            [handler = std::move(replyHandler)](
                                const auto& data, const auto& response, const auto& error) {
                              handler({data, response ? response->statusCode() : 0, error});
                            });
}

}  // namespace orx::service
