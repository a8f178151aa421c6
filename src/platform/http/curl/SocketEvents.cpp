#include "platform/http/curl/SocketEvents.h"

#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <climits>
#include <utility>

#include "platform/process/Signals.h"

namespace orx::platform {
namespace {

std::uint32_t epollEvents(std::uint8_t interest) {
  std::uint32_t events = 0;
  if ((interest & SocketEvents::reading) != 0) events |= EPOLLIN;
  if ((interest & SocketEvents::writing) != 0) events |= EPOLLOUT;
  return events;
}

}  // namespace

void SocketEvents::close() {
  for (int* descriptor : {&epoll_, &wakeUp_}) {
    if (*descriptor >= 0) ::close(std::exchange(*descriptor, -1));
  }
}

bool SocketEvents::open() {
  if (epoll_ < 0) epoll_ = epoll_create1(EPOLL_CLOEXEC);
  if (epoll_ < 0 || wakeUp_ >= 0) return epoll_ >= 0;
  const int made = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
  epoll_event event{.events = EPOLLIN, .data = {.fd = made}};
  if (made < 0 || epoll_ctl(epoll_, EPOLL_CTL_ADD, made, &event) != 0) {
    if (made >= 0) ::close(made);
    return false;
  }
  wakeUp_ = made;
  events_.reserve(eventsAtOnce);
  return true;
}

SocketEvents::Watched& SocketEvents::watched(int descriptor) {
  const auto index = static_cast<std::size_t>(descriptor);
  if (index >= watched_.size()) watched_.resize(index + 1);
  return watched_[index];
}

void SocketEvents::tell(int descriptor, Watched& watched, std::uint8_t interest) const {
  if (watched.told == interest) return;
  epoll_event event{.events = epollEvents(interest), .data = {.fd = descriptor}};
  int operation = EPOLL_CTL_MOD;
  if (watched.told == nothing) operation = EPOLL_CTL_ADD;
  if (interest == nothing) operation = EPOLL_CTL_DEL;
  const bool isTold = epoll_ctl(epoll_, operation, descriptor, &event) == 0;
  watched.told = isTold ? interest : std::uint8_t{nothing};
}

void SocketEvents::willStay(int descriptor) { watched(descriptor) = {.stays = true}; }

void SocketEvents::willClose(int descriptor) {
  Watched& closing = watched(descriptor);
  // By name, for a child that was just forked may still hold the same socket open.
  tell(descriptor, closing, nothing);
  closing = {};
}

void SocketEvents::want(int descriptor, std::uint8_t interest) {
  Watched& wanting = watched(descriptor);
  wanting.wanted = interest;
  if (interest != nothing || !wanting.stays) tell(descriptor, wanting, interest);
}

void SocketEvents::take(const epoll_event& event) {
  const int descriptor = event.data.fd;
  if (descriptor == wakeUp_) {
    std::uint64_t count = 0;
    [[maybe_unused]] const auto size = read(wakeUp_, &count, sizeof count);
    return;
  }
  Watched& source = watched(descriptor);
  if (source.wanted == nothing) {
    tell(descriptor, source, nothing);
    return;
  }
  std::uint8_t ready = nothing;
  if ((event.events & EPOLLIN) != 0) ready |= reading;
  if ((event.events & EPOLLOUT) != 0) ready |= writing;
  events_.push_back({descriptor, ready});
}

std::span<const SocketEvents::Event> SocketEvents::wait(std::chrono::milliseconds longest) {
  events_.clear();
  std::array<epoll_event, eventsAtOnce> happened;
  const auto timeout = std::clamp<std::int64_t>(longest.count(), 0, INT_MAX);
  const int count = epoll_wait(epoll_, happened.data(), static_cast<int>(happened.size()),
                               static_cast<int>(timeout));
  for (int index = 0; index < count; ++index) take(happened[static_cast<std::size_t>(index)]);
  return events_;
}

void SocketEvents::wake() const {
  const std::uint64_t one = 1;
  // On a host's thread.
  uninterrupted([&] { return write(wakeUp_, &one, sizeof one); });
}

}  // namespace orx::platform
