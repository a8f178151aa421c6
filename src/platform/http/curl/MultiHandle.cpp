// SPDX-License-Identifier: MIT
#include "platform/http/curl/MultiHandle.h"

#include <algorithm>
#include <cerrno>
#include <iterator>
#include <new>
#include <utility>

#include "platform/http/TransportError.h"

namespace orx::platform {
namespace {

// Connections that are kept when idle. While no more transfers run, each keeps the 33 KiB of its
// TLS buffers too, which makes 8 MiB.
constexpr std::size_t keptConnections = 256;
// Easy handles that are kept when idle. Each takes some 10 KB, so a burst of more calls than this
// frees the others again.
constexpr std::size_t keptHandles = 256;
// Handshakes that start in one pass. With a whole burst of calls in their handshakes at the same
// moment, the buffers of all of them would set the process's peak of memory.
constexpr std::size_t startsAtOnce = 8;
// libcurl's connections are looked at again after this time at the latest.
constexpr std::chrono::hours longestSleep{24};

// A renewed bundle of the system's is taken up after this time at the latest; parsing it for each
// connection would cost 34 ms of processor time.
constexpr std::chrono::seconds longestAuthoritiesLifetime{600};

bool isFailedHandshake(CURLcode code) {
  return code == CURLE_SSL_CONNECT_ERROR || code == CURLE_PEER_FAILED_VERIFICATION;
}

// 0 when epoll reports only an error: libcurl then finds out itself.
int selectBits(std::uint32_t events) {
  return ((events & EPOLLIN) != 0 ? CURL_CSELECT_IN : 0) |
         ((events & EPOLLOUT) != 0 ? CURL_CSELECT_OUT : 0);
}

// False without memory for what comes next.
bool continues(Transfer& transfer, CURLcode code) {
  try {
    return transfer.continuesAfter(code);
  } catch (const std::bad_alloc&) {
    transfer.onNoMemory();
    return false;
  }
}

}  // namespace

MultiHandle::MultiHandle()
    : outOfMemory_(transportError(NSURLErrorUnknown, "there is no memory for a transfer", {})) {
  idleHandles_.reserve(keptHandles);
}

bool MultiHandle::open() {
  if (!context_.poller.open()) return false;
  if (share_ == nullptr) {
    // One thread at a time uses the share, so it needs no locks.
    share_ = curl_share_init();
    curl_share_setopt(share_, CURLSHOPT_SHARE, CURL_LOCK_DATA_SSL_SESSION);
  }
  if (multi_ == nullptr) multi_ = curl_multi_init();
  if (share_ == nullptr || multi_ == nullptr) return false;
  // Unset, libcurl keeps four connections for each running transfer: a burst would leave thousands.
  curl_multi_setopt(multi_, CURLMOPT_MAXCONNECTS, long{keptConnections});
  curl_multi_setopt(multi_, CURLMOPT_SOCKETFUNCTION, &MultiHandle::watchSocket);
  curl_multi_setopt(multi_, CURLMOPT_SOCKETDATA, this);
  curl_multi_setopt(multi_, CURLMOPT_TIMERFUNCTION, &MultiHandle::setTimer);
  curl_multi_setopt(multi_, CURLMOPT_TIMERDATA, this);
  return true;
}

void MultiHandle::abandon() {
  context_.sockets.closeAll();
  context_.poller.close();
}

// ---- libcurl calls back, from within curl_multi_socket_action() and curl_multi_add_handle(): it
// says which sockets it waits for, and when it wants to be called though none is ready. ----

int MultiHandle::watchSocket(CURL* curl, curl_socket_t descriptor, int what, void* self,
                             void*) noexcept {
  auto& multi = *static_cast<MultiHandle*>(self);
  Transfer* transfer = Transfer::of(curl);
  std::uint32_t events = 0;
  if (what == CURL_POLL_IN || what == CURL_POLL_INOUT) events |= EPOLLIN;
  if (what == CURL_POLL_OUT || what == CURL_POLL_INOUT) events |= EPOLLOUT;
  const bool isDone = multi.context_.poller.setInterest(descriptor, events);
  // libcurl has handles of its own, too.
  if (transfer == nullptr) return 0;
  transfer->isWatched = events != 0;
  if (!isDone && transfer->isWatched) {
    // It would wait for its time-out. Told of the failure, libcurl would end all others with it.
    transfer->onUnwatched(errno);
    multi.someAreUnwatched_ = true;
  }
  return 0;
}

// A negative number: libcurl waits for sockets alone.
int MultiHandle::setTimer(CURLM*, long milliseconds, void* self) noexcept {
  auto& timer = static_cast<MultiHandle*>(self)->timer_;
  timer = Clock::now() + std::chrono::milliseconds(milliseconds);
  if (milliseconds < 0) timer.reset();
  return 0;
}

// ---- One pass: wait, start some transfers, let libcurl work on the others. ----

void MultiHandle::wait(bool isUrgent) {
  context_.now = Clock::now();
  auto until = context_.now + longestSleep;
  // Without a running transfer the deadline is an old one; an idle process is not woken for it.
  if (!running_.empty()) until = std::min(until, firstDeadline_);
  if (timer_) until = std::min(until, *timer_);
  // Transfers that wait for their start would wait for some socket's event.
  if (isUrgent || !queued_.empty()) until = context_.now;
  // Rounded up: woken a moment too early, the leader would spin until the time has come.
  ready_ = context_.poller.wait(std::chrono::ceil<std::chrono::milliseconds>(until - context_.now));
  context_.now = Clock::now();
}

void MultiHandle::runOnce() {
  context_.isCrowded = running_.size() + queued_.size() > keptConnections;
  startQueued();
  dispatchReady();
  if (!isAnyOverdue()) return;
  drainReady();
  endOverdue();
}

void MultiHandle::startQueued() {
  for (std::size_t handshakes = 0; handshakes < startsAtOnce && !queued_.empty();) {
    // A transfer mostly finds a connection that waits for it, and then costs no handshake. There is
    // none to find when each that is open has a transfer already.
    if (running_.size() >= context_.sockets.count()) ++handshakes;
    start(std::unique_ptr<Transfer>(static_cast<Transfer*>(queued_.takeFirst().release())));
  }
}

std::unique_ptr<EasyHandle> MultiHandle::takeEasyHandle() {
  if (idleHandles_.empty()) return std::make_unique<EasyHandle>();
  auto easy = std::move(idleHandles_.back());
  idleHandles_.pop_back();
  return easy;
}

// Whether it would only make ready what another transfer is making ready.
bool MultiHandle::isNeedless(const Transfer& transfer) const {
  return transfer.isPreparation() && std::ranges::any_of(running_, [&](const auto& running) {
           return running->isPreparation() && running->goesTheSameWayAs(transfer);
         });
}

// What memory had no room for while the authorities were read is missing until they are read anew.
// So none that were read before a failed handshake are used after it.
std::chrono::seconds MultiHandle::authoritiesLifetime() const {
  if (!latestFailedHandshake_) return longestAuthoritiesLifetime;
  const auto since =
      std::chrono::floor<std::chrono::seconds>(context_.now - *latestFailedHandshake_);
  return std::min(since, longestAuthoritiesLifetime);
}

void MultiHandle::start(std::unique_ptr<Transfer> transfer) {
  if (isNeedless(*transfer)) return;
  try {
    auto easy = takeEasyHandle();
    easy->configure(transfer->configuration(), context_.sockets, share_, transfer->authorities());
    easy->setAuthoritiesLifetime(authoritiesLifetime());
    transfer->start(std::move(easy), context_);
    transfer->place = running_.size();
    running_.push_back(std::move(transfer));
  } catch (const std::bad_alloc&) {
    return Transfer::report(std::move(transfer), {.error = outOfMemory_});
  }
  Transfer& started = *running_.back();
  firstDeadline_ = std::min(firstDeadline_, started.deadline());
  addToMulti(started);
}

// libcurl only sets its timer to this moment; the next dispatchReady() does the first work.
void MultiHandle::addToMulti(Transfer& transfer) {
  const CURLMcode code = curl_multi_add_handle(multi_, transfer.curl());
  if (code == CURLM_OUT_OF_MEMORY) {
    end(transfer, CURLE_OUT_OF_MEMORY);
  } else if (code != CURLM_OK) {
    end(transfer, CURLE_FAILED_INIT);
  }
}

// For one socket, or for the timer. Without memory libcurl stops before it has said which socket a
// transfer waits for, and that transfer would wait for its time-out. libcurl does not name it, so
// all end that wait for no socket.
void MultiHandle::work(curl_socket_t descriptor, int bits) {
  int running = 0;
  if (curl_multi_socket_action(multi_, descriptor, bits, &running) != CURLM_OUT_OF_MEMORY) return;
  for (const auto& transfer : running_) {
    if (!transfer->isWatched) transfer->onUnwatched(ENOMEM);
  }
  someAreUnwatched_ = true;
}

// libcurl is told which connections are ready and looks at no other, so a pass costs the same
// however many transfers only wait.
void MultiHandle::dispatchReady() {
  // libcurl may close a socket in one of these calls. It does not know the number any more then,
  // and ignores a later event for it.
  for (const auto& event : std::exchange(ready_, {})) {
    work(event.data.fd, selectBits(event.events));
  }
  if (timer_ && *timer_ <= Clock::now()) {
    // Reset before the call, in which libcurl may set it anew.
    timer_.reset();
    work(CURL_SOCKET_TIMEOUT, 0);
  }
  collectFinished();
  endUnwatched();
}

// From the back, because end() puts the last transfer in the place of the one that it ends.
void MultiHandle::endUnwatched() {
  if (!std::exchange(someAreUnwatched_, false)) return;
  for (std::size_t place = running_.size(); place-- > 0;) {
    Transfer& transfer = *running_[place];
    if (transfer.isUnwatched()) end(transfer, CURLE_FAILED_INIT);
  }
}

// Looks at all transfers, but only when the first deadline of the last look has come. That is about
// once in a time-out: by then those transfers have mostly ended or made progress.
bool MultiHandle::isAnyOverdue() {
  if (context_.now < firstDeadline_) return false;
  firstDeadline_ = Clock::time_point::max();
  for (const auto& transfer : running_) {
    firstDeadline_ = std::min(firstDeadline_, transfer->deadline());
  }
  return firstDeadline_ <= context_.now;
}

// After the whole process has stood still (a debugger, a suspended shell) everything looks overdue,
// while the answers wait to be read: reading them first keeps those calls from failing. A round
// handles one batch of events, so there are as many rounds as the running transfers may need.
void MultiHandle::drainReady() {
  for (std::size_t rounds = running_.size() / EpollPoller::eventsAtOnce + 1; rounds > 0; --rounds) {
    ready_ = context_.poller.wait(std::chrono::milliseconds(0));
    dispatchReady();
  }
}

// From the back, as above.
void MultiHandle::endOverdue() {
  for (std::size_t place = running_.size(); place-- > 0;) {
    Transfer& transfer = *running_[place];
    if (transfer.deadline() <= context_.now) end(transfer, CURLE_OPERATION_TIMEDOUT);
  }
}

void MultiHandle::collectFinished() {
  int left = 0;
  while (const CURLMsg* message = curl_multi_info_read(multi_, &left)) {
    if (message->msg != CURLMSG_DONE) continue;
    // The message is gone as soon as its handle leaves the multi handle.
    const CURLcode code = message->data.result;
    Transfer& transfer = *Transfer::of(message->easy_handle);
    if (continues(transfer, code)) {
      // Only a handle that is added again starts over.
      curl_multi_remove_handle(multi_, transfer.curl());
      addToMulti(transfer);
    } else {
      end(transfer, code);
    }
  }
}

TransferOutcome MultiHandle::outcomeOf(Transfer& transfer, CURLcode code) const {
  try {
    return transfer.finish(code);
  } catch (const std::bad_alloc&) {
    return {.error = outOfMemory_};
  }
}

void MultiHandle::end(Transfer& transfer, CURLcode code) {
  // First of all, because what libcurl knows of the transfer goes with the removal.
  TransferOutcome outcome = outcomeOf(transfer, code);
  if (isFailedHandshake(code)) latestFailedHandshake_ = context_.now;
  curl_multi_remove_handle(multi_, transfer.curl());
  auto easy = transfer.takeEasyHandle();
  if (idleHandles_.size() < keptHandles) idleHandles_.push_back(std::move(easy));

  // The last transfer takes the place, so that no other one moves.
  const std::size_t place = transfer.place;
  running_[place].swap(running_.back());
  running_[place]->place = place;
  auto ended = std::move(running_.back());
  running_.pop_back();
  Transfer::report(std::move(ended), std::move(outcome));
}

}  // namespace orx::platform
