#include "service/Post.h"

#include <utility>

#include "platform/DefaultConfiguration.h"

namespace orx {

void startPost(const URL& url, std::string_view contentType, std::string body,
               URLSession::CompletionHandler completionHandler) {
  URLRequest request{
      .url = url, .httpMethod = "POST", .headerFields = {}, .httpBody = std::move(body)};
  request.headerFields.emplace_back("Content-Type", contentType);
  URLSession::startOnlyTask(std::move(request), sharedDefaultConfiguration(),
                            std::move(completionHandler));
}

}  // namespace orx
