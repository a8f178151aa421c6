#include "platform/TransferHandles.h"

#include <curl/curl.h>

#include <utility>

namespace orx {
namespace {

constexpr std::size_t keptHandles = 256;

}  // namespace

std::shared_ptr<const TransferOptions> TransferHandles::optionsFor(
    const std::shared_ptr<const URLSessionConfiguration>& configuration) {
  if (!lastOptions_ || !lastOptions_->areOf(configuration)) {
    lastOptions_ = std::make_shared<TransferOptions>(configuration);
  }
  return lastOptions_;
}

void* TransferHandles::take(const std::shared_ptr<const TransferOptions>& options) {
  CURL* easy = nullptr;
  if (idle_.empty()) {
    easy = curl_easy_init();
    if (easy == nullptr) return nullptr;
  } else {
    const Handle handle = std::move(idle_.back());
    idle_.pop_back();
    if (handle.options == options) return handle.easy;
    easy = handle.easy;
    curl_easy_reset(easy);
  }
  options->applyTo(easy);
  Transfer::prepare(easy, surroundings_);
  curl_easy_setopt(easy, CURLOPT_SHARE, share_);
  return easy;
}

void TransferHandles::giveBack(void* easy, std::shared_ptr<const TransferOptions> options) {
  if (idle_.size() < keptHandles) {
    idle_.push_back({easy, std::move(options)});
  } else {
    curl_easy_cleanup(easy);
  }
}

}  // namespace orx
