#include "service/Post.h"

#include <memory>
#include <utility>

#include "platform/DefaultConfiguration.h"

namespace orx {

namespace {

using SharedFields = std::shared_ptr<const HeaderFields>;

// Never destroyed: calls may be made while the process ends.
const SharedFields& fieldsFor(PostContent content) {
  static const auto& xml =
      *new SharedFields(sharedFields({{"Content-Type", "text/xml; charset=utf-8"}}));
  static const auto& json = *new SharedFields(sharedFields({{"Content-Type", "application/json"}}));
  return content == PostContent::xml ? xml : json;
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
