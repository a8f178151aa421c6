// SPDX-License-Identifier: MIT
#include <ORXAccount/platform/NotificationCenter.h>

#include <algorithm>
#include <atomic>
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
  std::optional<std::string> name;
  const Object* sender = nullptr;
  std::weak_ptr<Object> owner;
  NotificationCenter::Block block;
  std::atomic<bool> ended = false;

  // A later object may get the sender's address, so the ownership is compared too: while `owner`
  // exists, no later object shares it. `owner` is not locked for that: a shared_ptr made here could
  // become the last one, and the sender would be destroyed inside the section.
  bool isFor(std::string_view postedName, const std::shared_ptr<Object>& object) const {
    if (name && *name != postedName) return false;
    if (sender == nullptr) return true;
    return sender == object.get() && !owner.owner_before(object) && !object.owner_before(owner);
  }

  // Host code: what it throws ends the process here.
  void deliver(const Notification& notification) const noexcept { block(notification); }
};

struct NotificationCenter::State {
  // In the order of their registration.
  std::vector<std::shared_ptr<Observation::Entry>> entries;
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
  entry_->ended = true;
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
  state_->entries.push_back(entry);
  return Observation(std::move(entry));
}

void NotificationCenter::postNotificationName_object_userInfo(std::string_view name,
                                                              const std::shared_ptr<Object>& object,
                                                              const Dictionary& userInfo) {
  std::vector<std::shared_ptr<Observation::Entry>> matching;
  {
    const BriefSection section;
    for (const auto& entry : state_->entries) {
      if (entry->isFor(name, object)) matching.push_back(entry);
    }
  }
  const Notification notification(name, object, userInfo);
  for (auto& entry : matching) {
    if (!entry->ended) entry->deliver(notification);
    // An observer that has ended is let go now, not when the ones after it have run.
    entry.reset();
  }
}

}  // namespace orx
