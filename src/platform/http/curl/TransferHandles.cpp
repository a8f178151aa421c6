#include "platform/http/curl/TransferHandles.h"

#include <curl/curl.h>

#include <utility>

#include "platform/http/curl/Transfer.h"

namespace orx::platform {
namespace {

constexpr std::size_t keptHandles = 256;

}  // namespace

// The same as the last one's when the configuration is.
std::shared_ptr<const TransferOptions> TransferHandles::optionsFor(
    const std::shared_ptr<const URLSessionConfiguration>& configuration) {
  if (!lastOptions_ || !lastOptions_->areOf(configuration)) {
    lastOptions_ = std::make_shared<TransferOptions>(configuration);
  }
  return lastOptions_;
}

std::unique_ptr<TransferHandle> TransferHandles::take(
    const std::shared_ptr<const URLSessionConfiguration>& configuration) {
  auto options = optionsFor(configuration);
  std::unique_ptr<TransferHandle> handle;
  if (idle_.empty()) {
    CURL* easy = curl_easy_init();
    if (easy == nullptr) return nullptr;
    handle = std::make_unique<TransferHandle>(easy);
  } else {
    handle = std::move(idle_.back());
    idle_.pop_back();
  }
  if (handle->options != options) setUp(*handle, std::move(options));
  return handle;
}

void TransferHandles::setUp(TransferHandle& handle,
                            std::shared_ptr<const TransferOptions> options) {
  handle.reset();
  options->applyTo(handle.easy);
  Transfer::prepare(handle, surroundings_);
  curl_easy_setopt(handle.easy, CURLOPT_SHARE, share_);
  handle.options = std::move(options);
}

void TransferHandles::giveBack(std::unique_ptr<TransferHandle> handle) {
  if (idle_.size() < keptHandles) idle_.push_back(std::move(handle));
}

}  // namespace orx::platform
