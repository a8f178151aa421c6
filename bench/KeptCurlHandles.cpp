// SPDX-License-Identifier: MIT
#include "KeptCurlHandles.h"

#include <sys/epoll.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <optional>

namespace orx::bench {
namespace {

// libcurl looks at all of its connections each time.
class PerformingHandles final : public KeptCurlHandles {
 public:
  using KeptCurlHandles::KeptCurlHandles;

 private:
  void advance() override {
    int running = 0;
    curl_multi_perform(multi(), &running);
    if (!collect()) curl_multi_poll(multi(), nullptr, 0, 1000, nullptr);
  }
};

// libcurl is told which of its connections are ready.
class EpollHandles final : public KeptCurlHandles {
 public:
  explicit EpollHandles(const Work& work) : KeptCurlHandles(work), epoll_(epoll_create1(0)) {
    curl_multi_setopt(multi(), CURLMOPT_SOCKETFUNCTION, &EpollHandles::watch);
    curl_multi_setopt(multi(), CURLMOPT_SOCKETDATA, this);
    curl_multi_setopt(multi(), CURLMOPT_TIMERFUNCTION, &EpollHandles::setTimer);
    curl_multi_setopt(multi(), CURLMOPT_TIMERDATA, this);
  }
  ~EpollHandles() override { close(epoll_); }

 private:
  static int watch(CURL*, curl_socket_t socket, int what, void* self, void* known) {
    auto& handles = *static_cast<EpollHandles*>(self);
    epoll_event event{};
    event.data.fd = socket;
    if (what != CURL_POLL_OUT) event.events |= EPOLLIN;
    if (what == CURL_POLL_OUT || what == CURL_POLL_INOUT) event.events |= EPOLLOUT;
    int operation = known != nullptr ? EPOLL_CTL_MOD : EPOLL_CTL_ADD;
    if (what == CURL_POLL_REMOVE) operation = EPOLL_CTL_DEL;
    epoll_ctl(handles.epoll_, operation, socket, &event);
    curl_multi_assign(handles.multi(), socket, self);
    return 0;
  }

  static int setTimer(CURLM*, long milliseconds, void* self) {
    auto& timer = static_cast<EpollHandles*>(self)->timer_;
    timer = Clock::now() + std::chrono::milliseconds(milliseconds);
    if (milliseconds < 0) timer.reset();
    return 0;
  }

  int timeToTimer() const {
    if (!timer_) return 1000;
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(*timer_ - Clock::now());
    return std::max(0, static_cast<int>(left.count()));
  }

  void advance() override {
    int running = 0;
    if (timer_ && *timer_ <= Clock::now()) {
      timer_.reset();
      curl_multi_socket_action(multi(), CURL_SOCKET_TIMEOUT, 0, &running);
    } else {
      std::array<epoll_event, 256> events{};
      const int count = epoll_wait(epoll_, events.data(), events.size(), timeToTimer());
      for (int index = 0; index < count; ++index) {
        const epoll_event& event = events.at(static_cast<std::size_t>(index));
        const int bits = ((event.events & EPOLLIN) != 0 ? CURL_CSELECT_IN : 0) |
                         ((event.events & EPOLLOUT) != 0 ? CURL_CSELECT_OUT : 0);
        curl_multi_socket_action(multi(), event.data.fd, bits, &running);
      }
    }
    collect();
  }

  const int epoll_;
  std::optional<Clock::time_point> timer_;
};

}  // namespace

KeptCurlHandles::KeptCurlHandles(const Work& work) : work_(work), multi_(curl_multi_init()) {
  curl_multi_setopt(multi_, CURLMOPT_MAXCONNECTS, 1024L);
}

KeptCurlHandles::~KeptCurlHandles() {
  slots_.clear();
  // The derived object, which it would tell of the sockets that it closes, is gone.
  curl_multi_setopt(multi_, CURLMOPT_SOCKETFUNCTION, nullptr);
  curl_multi_setopt(multi_, CURLMOPT_TIMERFUNCTION, nullptr);
  curl_multi_cleanup(multi_);
}

std::vector<double> KeptCurlHandles::run(std::size_t inFlight, std::size_t calls) {
  while (slots_.size() < inFlight) slots_.emplace_back(work_);
  toStart_ = calls;
  times_.clear();
  times_.reserve(calls);
  for (std::size_t index = 0; index < std::min(inFlight, calls); ++index) start(slots_[index]);
  while (times_.size() < calls) advance();
  return std::move(times_);
}

void KeptCurlHandles::start(Slot& slot) {
  --toStart_;
  slot.handle.beginCall();
  slot.begin = Clock::now();
  curl_multi_add_handle(multi_, slot.handle.easy());
}

bool KeptCurlHandles::collect() {
  bool any = false;
  int left = 0;
  while (const CURLMsg* message = curl_multi_info_read(multi_, &left)) {
    const CURLcode code = message->data.result;
    Slot* slot = nullptr;
    curl_easy_getinfo(message->easy_handle, CURLINFO_PRIVATE, &slot);
    curl_multi_remove_handle(multi_, message->easy_handle);
    slot->handle.check(code);
    times_.push_back(microsecondsSince(slot->begin));
    if (toStart_ > 0) start(*slot);
    any = true;
  }
  return any;
}

std::unique_ptr<Contestant> keptCurlHandles(const Work& work) {
  return std::make_unique<PerformingHandles>(work);
}

std::unique_ptr<Contestant> keptCurlHandlesOverEpoll(const Work& work) {
  return std::make_unique<EpollHandles>(work);
}

}  // namespace orx::bench
