// SPDX-License-Identifier: MIT
#include "platform/http/curl/EpollPoller.h"

#include <sys/eventfd.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <exception>
#include <utility>

#include "platform/process/Signals.h"

namespace orx::platform {

void EpollPoller::close() {
  for (int* descriptor : {&epoll_, &wakeUp_}) {
    if (*descriptor >= 0) ::close(std::exchange(*descriptor, -1));
  }
}

bool EpollPoller::open() {
  if (epoll_ < 0) epoll_ = epoll_create1(EPOLL_CLOEXEC);
  if (epoll_ < 0 || wakeUp_ >= 0) return epoll_ >= 0;
  const int made = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
  epoll_event event{.events = EPOLLIN, .data = {.fd = made}};
  if (made < 0 || epoll_ctl(epoll_, EPOLL_CTL_ADD, made, &event) != 0) {
    if (made >= 0) ::close(made);
    return false;
  }
  wakeUp_ = made;
  return true;
}

EpollPoller::Watched& EpollPoller::watched(int descriptor) {
  const auto index = static_cast<std::size_t>(descriptor);
  if (index >= watched_.size()) watched_.resize(index + 1);
  return watched_[index];
}

bool EpollPoller::updateEpoll(int descriptor, Watched& watched, std::uint32_t events) const {
  if (watched.registered == events) return true;
  epoll_event event{.events = events, .data = {.fd = descriptor}};
  int operation = EPOLL_CTL_MOD;
  if (watched.registered == 0) operation = EPOLL_CTL_ADD;
  if (events == 0) operation = EPOLL_CTL_DEL;
  const bool isDone = epoll_ctl(epoll_, operation, descriptor, &event) == 0;
  if (isDone) {
    watched.registered = events;
  } else if (errno == ENOENT || errno == EBADF) {
    // It was closed behind this object's back.
    watched.registered = 0;
  }
  return isDone;
}

void EpollPoller::registerSocket(int descriptor) { watched(descriptor) = {.stays = true}; }

void EpollPoller::unregisterSocket(int descriptor) {
  Watched& closing = watched(descriptor);
  // Closing alone does not end the watch when a child that was just forked holds the same socket.
  updateEpoll(descriptor, closing, 0);
  closing = {};
}

bool EpollPoller::setInterest(int descriptor, std::uint32_t events) noexcept {
  try {
    Watched& wanting = watched(descriptor);
    wanting.interest = events;
    if (events == 0) wanting.looksBefore = looks_;
    return (events == 0 && wanting.stays) || updateEpoll(descriptor, wanting, events);
  } catch (const std::exception&) {
    errno = ENOMEM;
    return false;
  }
}

void EpollPoller::takeWakeUp(const epoll_event& event) const {
  std::uint64_t count = 0;
  [[maybe_unused]] const auto size = ::read(wakeUp_, &count, sizeof count);
  if ((event.events & EPOLLOUT) != 0) watchWakeUp(EPOLLIN);
}

bool EpollPoller::isWanted(const epoll_event& event) {
  const int descriptor = event.data.fd;
  if (descriptor == wakeUp_) {
    takeWakeUp(event);
    return false;
  }
  Watched& source = watched(descriptor);
  // epoll still watches a socket in which there is no interest now (see registerSocket). Without
  // this line it would report the event at every wait.
  if (source.interest == 0) updateEpoll(descriptor, source, 0);
  return source.interest != 0;
}

// What happens on a socket without interest ends its registration.
bool EpollPoller::isQuiet(int descriptor) const {
  const auto index = static_cast<std::size_t>(descriptor);
  if (!sawAll_ || index >= watched_.size()) return false;
  const Watched& idle = watched_[index];
  return idle.interest == 0 && (idle.registered & EPOLLIN) != 0 && idle.looksBefore != looks_;
}

std::span<const epoll_event> EpollPoller::wait(std::chrono::milliseconds longest) {
  const auto timeout = std::clamp<std::int64_t>(longest.count(), 0, INT_MAX);
  const int count = epoll_wait(epoll_, events_.data(), static_cast<int>(events_.size()),
                               static_cast<int>(timeout));
  ++looks_;
  sawAll_ = count >= 0 && static_cast<std::size_t>(count) < eventsAtOnce;
  std::size_t kept = 0;
  for (int index = 0; index < count; ++index) {
    const epoll_event event = events_[static_cast<std::size_t>(index)];
    if (isWanted(event)) events_[kept++] = event;
  }
  return {events_.data(), kept};
}

void EpollPoller::wake() const {
  const std::uint64_t one = 1;
  // Runs on a host's thread, where a signal may interrupt it.
  const auto size = uninterrupted([&] { return write(wakeUp_, &one, sizeof one); });
  // Whoever waits would sleep on when this fails. It can always be written, so that watching for
  // that wakes as well.
  if (size < 0) watchWakeUp(EPOLLIN | EPOLLOUT);
}

void EpollPoller::watchWakeUp(std::uint32_t events) const {
  epoll_event event{.events = events, .data = {.fd = wakeUp_}};
  epoll_ctl(epoll_, EPOLL_CTL_MOD, wakeUp_, &event);
}

}  // namespace orx::platform
