// SPDX-License-Identifier: MIT
#include <ORXAccount/platform/NotificationCenter.h>

#include <algorithm>
#include <cstdint>
#include <stdexcept>
#include <utility>
#include <vector>

#include "platform/process/ForkSafety.h"

namespace orx {

using namespace platform;

struct Notification::Content {
  std::string name;
  std::shared_ptr<Object> object;
  Dictionary userInfo;
};

Notification::Notification(std::string_view name, std::shared_ptr<Object> object,
                           Dictionary userInfo)
    : content_(std::make_shared<Content>(
          Content{std::string(name), std::move(object), std::move(userInfo)})) {}

const std::string& Notification::name() const { return content_->name; }

const std::shared_ptr<Object>& Notification::object() const { return content_->object; }

const Dictionary& Notification::userInfo() const { return content_->userInfo; }

struct Observation::Entry {
  // Of its registration; later ones have higher numbers.
  std::uint64_t number = 0;
  std::optional<std::string> name;
  const Object* sender = nullptr;
  std::weak_ptr<Object> owner;
  NotificationCenter::Block block;

  // A later object may get the sender's address, so the ownership is compared too: while `owner`
  // exists, no later object shares it. `owner` is not locked for that: a shared_ptr made here could
  // become the last one, and the sender would be destroyed inside the section.
  bool isFor(const Notification& notification) const {
    if (name && *name != notification.name()) return false;
    if (sender == nullptr) return true;
    const auto& object = notification.object();
    return sender == object.get() && !owner.owner_before(object) && !object.owner_before(owner);
  }

  // Host code: what it throws ends the process here.
  void deliver(const Notification& notification) const noexcept { block(notification); }
};

struct NotificationCenter::State {
  // In the order of their registration.
  std::vector<std::shared_ptr<Observation::Entry>> entries;
  std::uint64_t lastNumber = 0;

  // The first that was registered after `previous`, and not after `last`; null when there is none.
  std::shared_ptr<Observation::Entry> next(const Notification& notification, std::uint64_t previous,
                                           std::uint64_t last) const {
    const BriefSection section;
    const auto later = std::ranges::upper_bound(entries, previous, {},
                                                [](const auto& entry) { return entry->number; });
    const auto found = std::find_if(later, entries.end(),
                                    [&](const auto& entry) { return entry->isFor(notification); });
    return found == entries.end() || (*found)->number > last ? nullptr : *found;
  }
};

NotificationCenter::NotificationCenter() : state_(std::make_unique<State>()) {}

NotificationCenter::~NotificationCenter() = default;

Observation::Observation() noexcept = default;
Observation::Observation(Observation&& other) noexcept = default;
Observation::Observation(std::shared_ptr<Entry> entry) noexcept : entry_(std::move(entry)) {}

Observation& Observation::operator=(Observation&& other) noexcept {
  Observation old(std::move(other));
  std::swap(entry_, old.entry_);
  return *this;
}

Observation::~Observation() {
  if (!entry_) return;
  auto& center = *NotificationCenter::defaultCenter();
  // entry_ keeps the entry until the section is over: what its block holds is the host's.
  const BriefSection section;
  std::erase(center.state_->entries, entry_);
}

const std::shared_ptr<NotificationCenter>& NotificationCenter::defaultCenter() {
  static constinit ProcessWide<std::shared_ptr<NotificationCenter>> center;
  return center.get([] { return std::shared_ptr<NotificationCenter>(new NotificationCenter); });
}

Observation NotificationCenter::addObserverForName_object_usingBlock(
    std::optional<std::string_view> name, const std::shared_ptr<Object>& object, Block block) {
  if (!block) throw std::invalid_argument("An observer needs a block that can be called.");
  auto entry = std::make_shared<Observation::Entry>();
  if (name) entry->name = *name;
  entry->sender = object.get();
  entry->owner = object;
  entry->block = std::move(block);
  const BriefSection section;
  entry->number = state_->lastNumber + 1;
  state_->entries.push_back(entry);
  state_->lastNumber = entry->number;
  return Observation(std::move(entry));
}

void NotificationCenter::postNotificationName_object_userInfo(std::string_view name,
                                                              const std::shared_ptr<Object>& object,
                                                              const Dictionary& userInfo) {
  postNotification(Notification(name, object, userInfo));
}

// Looks for one observer at a time, since a list of all of them would take memory.
void NotificationCenter::postNotification(const Notification& notification) noexcept {
  std::uint64_t last = 0;
  {
    const BriefSection section;
    last = state_->lastNumber;
  }
  std::uint64_t previous = 0;
  while (const auto entry = state_->next(notification, previous, last)) {
    previous = entry->number;
    entry->deliver(notification);
  }
}

}  // namespace orx
