#include "service/Post.h"

#include <memory>
#include <utility>

#include "platform/http/DefaultConfiguration.h"
#include "platform/process/ForkSafety.h"

namespace orx {

using namespace platform;

namespace {

using SharedFields = std::shared_ptr<const HeaderFields>;

const SharedFields& fieldsFor(PostContent content) {
  static constinit ProcessWide<SharedFields> xml;
  static constinit ProcessWide<SharedFields> json;
  if (content == PostContent::xml) {
    return xml.get([] { return sharedFields({{"Content-Type", "text/xml; charset=utf-8"}}); });
  }
  return json.get([] { return sharedFields({{"Content-Type", "application/json"}}); });
}

}  // namespace

void startPost(const URL& url, PostContent content, std::string body,
               URLSession::CompletionHandler completionHandler) {
  URLSession::startOnlyTask({.url = url,
                             .httpMethod = "POST",
                             .headerFields = fieldsFor(content),
                             .httpBody = std::move(body)},
                            sharedDefaultConfiguration(), std::move(completionHandler));
}

}  // namespace orx
