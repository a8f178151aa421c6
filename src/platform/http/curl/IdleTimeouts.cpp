#include "platform/http/curl/IdleTimeouts.h"

#include <algorithm>

namespace orx::platform {

void IdleTimeouts::add(Transfer& transfer, Place& place, std::chrono::milliseconds limit) {
  place.queue = &queues_[limit];
  if (free_.empty()) free_.emplace_back();
  place.node = free_.begin();
  *place.node = {.transfer = &transfer, .lastProgress = now_};
  // The end is the right place: nobody's progress is later than now.
  place.queue->splice(place.queue->end(), free_, place.node);
}

void IdleTimeouts::noteProgress(Place& place) {
  if (place.queue == nullptr || place.node->lastProgress == now_) return;
  place.node->lastProgress = now_;
  place.queue->splice(place.queue->end(), *place.queue, place.node);
}

void IdleTimeouts::remove(Place& place) {
  if (place.queue == nullptr) return;
  free_.splice(free_.begin(), *place.queue, place.node);
  place.queue = nullptr;
}

Transfer* IdleTimeouts::overdue() const {
  for (const auto& [limit, queue] : queues_) {
    if (!queue.empty() && queue.front().lastProgress + limit <= now_) return queue.front().transfer;
  }
  return nullptr;
}

std::optional<std::chrono::milliseconds> IdleTimeouts::timeUntilNext() const {
  std::optional<std::chrono::milliseconds> shortest;
  for (const auto& [limit, queue] : queues_) {
    if (queue.empty()) continue;
    const auto left =
        std::chrono::ceil<std::chrono::milliseconds>(queue.front().lastProgress + limit - now_);
    shortest = std::min(shortest.value_or(left), left);
  }
  if (!shortest) return std::nullopt;
  return std::max(*shortest, std::chrono::milliseconds(0));
}

}  // namespace orx::platform
