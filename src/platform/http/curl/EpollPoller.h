// SPDX-License-Identifier: MIT
#pragma once

#include <sys/epoll.h>

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace orx::platform {

// Waits until sockets can be read or written, or until it is woken. All but wake() is used by one
// thread at a time.
class EpollPoller {
 public:
  // Handlers run only after all events of one batch: a larger batch would let the first handler
  // wait for the work of the last event.
  static constexpr std::size_t eventsAtOnce = 32;

  EpollPoller() = default;
  ~EpollPoller() { close(); }
  EpollPoller(const EpollPoller&) = delete;
  EpollPoller& operator=(const EpollPoller&) = delete;

  // False when the system has no descriptors for it. To be called before anything else, and again
  // after it has failed.
  bool open();
  // Nothing may be called afterwards.
  void close();

  // For sockets that are kept from transfer to transfer; unregister one before it is closed. While
  // there is no interest in a registered socket, epoll goes on watching it, because the next
  // transfer mostly comes soon: that saves two system calls for each transfer.
  void registerSocket(int descriptor);
  void unregisterSocket(int descriptor);
  // `events`: EPOLLIN, EPOLLOUT, both or none, from now on. False, with errno set, when the system
  // refuses to watch the socket, which then stays silent.
  bool setInterest(int descriptor, std::uint32_t events) noexcept;

  // True when wait() has looked since the interest in this socket ended, and its peer has neither
  // sent anything nor closed it. False when that is not known.
  bool isQuiet(int descriptor) const;

  // Returns when something has happened or when the time is over, rounded up to milliseconds; the
  // descriptor is each event's data.fd. Valid until the next call.
  std::span<const epoll_event> wait(std::chrono::milliseconds longest);
  // From any thread: lets wait(), this one or the next, return at once.
  void wake() const;

 private:
  struct Watched {
    std::uint32_t interest = 0;
    std::uint32_t registered = 0;  // what epoll watches for
    bool stays = false;
    std::uint64_t looksBefore = 0;  // there had been so many when the interest ended
  };

  Watched& watched(int descriptor);
  bool updateEpoll(int descriptor, Watched& watched, std::uint32_t events) const;
  void takeWakeUp(const epoll_event& event) const;
  void watchWakeUp(std::uint32_t events) const;
  bool isWanted(const epoll_event& event);

  int epoll_ = -1;
  int wakeUp_ = -1;
  std::vector<Watched> watched_;  // by descriptor
  std::uint64_t looks_ = 0;       // at all sockets
  bool sawAll_ = false;           // in the latest look
  std::array<epoll_event, eventsAtOnce> events_{};
};

}  // namespace orx::platform
