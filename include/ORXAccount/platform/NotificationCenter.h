// SPDX-License-Identifier: MIT
#pragma once

#include <ORXAccount/platform/Export.h>
#include <ORXAccount/platform/Object.h>
#include <ORXAccount/platform/Value.h>

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace orx {

// What an observer is handed. It never changes; copies share its content.
class ORX_EXPORT Notification {
 public:
  Notification(std::string_view name, std::shared_ptr<Object> object, Dictionary userInfo);
  // Moving copies: a notification that was moved from would have no content.
  Notification(const Notification& other) = default;
  Notification& operator=(const Notification& other) = default;

  const std::string& name() const;
  // The sender, null when there is none.
  const std::shared_ptr<Object>& object() const;
  // Empty when nothing was attached.
  const Dictionary& userInfo() const;

 private:
  struct Content;

  std::shared_ptr<const Content> content_;  // never null
};

class NotificationCenter;

// Keeps one observer registered for as long as it lives; move-only. After its destructor
// returned, no notification posted later reaches the observer; one that another thread is
// delivering at that moment still may, so what the block captures must be owned by it.
// Default-constructed it observes nothing.
class ORX_EXPORT Observation {
 public:
  Observation() noexcept;
  Observation(Observation&& other) noexcept;
  Observation& operator=(Observation&& other) noexcept;
  Observation(const Observation&) = delete;
  Observation& operator=(const Observation&) = delete;
  ~Observation();

 private:
  friend class NotificationCenter;
  struct Entry;
  explicit Observation(std::shared_ptr<Entry> entry) noexcept;

  std::shared_ptr<Entry> entry_;
};

// Delivers named notifications inside the process, synchronously. Safe to use from any thread, and
// from inside an observer: no lock is held while an observer runs.
class ORX_EXPORT NotificationCenter {
 public:
  using Block = std::function<void(const Notification&)>;

  // Made on first use and never destroyed.
  static const std::shared_ptr<NotificationCenter>& defaultCenter();

  // Calls `block` for every notification of this name (absent: of any name) from this sender (null:
  // from any sender), on the posting thread. The block must not throw. An empty block throws
  // std::invalid_argument. The sender is compared by identity and held weakly.
  [[nodiscard]] Observation addObserverForName_object_usingBlock(
      std::optional<std::string_view> name, const std::shared_ptr<Object>& object, Block block);

  // Runs every matching observer, in the order of their registration, before it returns. Observers
  // that are added meanwhile are not called for this notification.
  void postNotificationName_object_userInfo(std::string_view name,
                                            const std::shared_ptr<Object>& object,
                                            const Dictionary& userInfo);
  // The same with a notification that is there already. It needs no memory.
  void postNotification(const Notification& notification) noexcept;

  NotificationCenter(const NotificationCenter&) = delete;
  NotificationCenter& operator=(const NotificationCenter&) = delete;
  ~NotificationCenter();

 private:
  NotificationCenter();
  friend class Observation;
  struct State;

  std::unique_ptr<State> state_;
};

}  // namespace orx
