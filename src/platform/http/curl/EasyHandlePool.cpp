#include "platform/http/curl/EasyHandlePool.h"

#include <utility>

namespace orx::platform {
namespace {

// A handle takes some 10 KB. A burst of more calls than this frees the others again.
constexpr std::size_t keptHandles = 256;

}  // namespace

std::unique_ptr<EasyHandle> EasyHandlePool::take(
    const std::shared_ptr<const URLSessionConfiguration>& configuration) {
  if (!lastOptions_ || !lastOptions_->matches(configuration)) {
    lastOptions_ = std::make_shared<EasyOptions>(configuration);
  }
  std::unique_ptr<EasyHandle> handle;
  if (!idle_.empty()) {
    handle = std::move(idle_.back());
    idle_.pop_back();
  } else if (CURL* curl = curl_easy_init(); curl != nullptr) {
    handle = std::make_unique<EasyHandle>(curl);
  }
  if (handle && handle->options() != lastOptions_) handle->setUp(lastOptions_, sockets_, share_);
  return handle;
}

void EasyHandlePool::giveBack(std::unique_ptr<EasyHandle> handle) {
  if (idle_.size() < keptHandles) idle_.push_back(std::move(handle));
}

}  // namespace orx::platform
