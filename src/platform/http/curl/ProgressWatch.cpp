#include "platform/http/curl/ProgressWatch.h"

#include <algorithm>

namespace orx::platform {

void ProgressWatch::add(Watched& watched, std::chrono::milliseconds limit) {
  watched.queue_ = &queues_[limit];
  if (free_.empty()) free_.emplace_back();
  watched.place_ = free_.begin();
  *watched.place_ = &watched;
  watched.queue_->splice(watched.queue_->end(), free_, watched.place_);
  watched.lastProgress_ = now_;
}

void ProgressWatch::noteProgress(Watched& watched) {
  if (watched.queue_ == nullptr || watched.lastProgress_ == now_) return;
  watched.lastProgress_ = now_;
  watched.queue_->splice(watched.queue_->end(), *watched.queue_, watched.place_);
}

void ProgressWatch::remove(Watched& watched) {
  if (watched.queue_ == nullptr) return;
  free_.splice(free_.begin(), *watched.queue_, watched.place_);
  watched.queue_ = nullptr;
}

ProgressWatch::Watched* ProgressWatch::overdue() const {
  for (const auto& [limit, queue] : queues_) {
    if (!queue.empty() && queue.front()->lastProgress_ + limit <= now_) return queue.front();
  }
  return nullptr;
}

std::optional<std::chrono::milliseconds> ProgressWatch::quietTime() const {
  std::optional<Clock::time_point> first;
  for (const auto& [limit, queue] : queues_) {
    if (queue.empty()) continue;
    const auto due = queue.front()->lastProgress_ + limit;
    first = first ? std::min(*first, due) : due;
  }
  if (!first) return std::nullopt;
  return std::max(std::chrono::ceil<std::chrono::milliseconds>(*first - now_),
                  std::chrono::milliseconds(0));
}

}  // namespace orx::platform
