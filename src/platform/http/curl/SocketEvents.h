#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

struct epoll_event;

namespace orx::platform {

// Waits for what happens on sockets, and to be woken. All but wake() is used by one thread at a
// time.
class SocketEvents {
 public:
  enum Interest : std::uint8_t { nothing = 0, reading = 1, writing = 2 };

  struct Event {
    int descriptor;
    // What it is ready for; nothing when the system reports only that something went wrong.
    std::uint8_t ready;
  };

  // So few at a time that what they lead to is soon followed by the handlers that wait for it.
  static constexpr std::size_t eventsAtOnce = 32;

  SocketEvents() = default;
  ~SocketEvents() { close(); }
  SocketEvents(const SocketEvents&) = delete;
  SocketEvents& operator=(const SocketEvents&) = delete;

  // False when the system has no descriptors for it. To be called before anything else, and again
  // after it has failed.
  bool open();
  // Lets go of it; nothing may be called afterwards.
  void close();
  // Something to poll for reading in place of wait().
  int descriptor() const { return epoll_; }

  // A socket that says goodbye by willClose(). When nothing is wanted of it for the moment, the
  // system is not told, for it mostly is wanted again soon.
  void willStay(int descriptor);
  void willClose(int descriptor);
  // `interest`: a sum of what is wanted of the socket from now on. One that the system refuses to
  // watch stays silent.
  void want(int descriptor, std::uint8_t interest);

  // Returns when something has happened, or when the time is over, rounded up to milliseconds. What
  // is returned is valid until the next call.
  std::span<const Event> wait(std::chrono::milliseconds longest);
  // From any thread: lets wait(), this one or the next, return at once.
  void wake() const;

 private:
  struct Watched {
    std::uint8_t wanted = nothing;
    std::uint8_t told = nothing;  // what the system watches for
    bool stays = false;
  };

  Watched& watched(int descriptor);
  void tell(int descriptor, Watched& watched, std::uint8_t interest) const;
  void take(const epoll_event& event);

  int epoll_ = -1;
  int wakeUp_ = -1;
  std::vector<Watched> watched_;  // by descriptor
  std::vector<Event> events_;
};

}  // namespace orx::platform
