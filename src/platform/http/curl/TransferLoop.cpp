#include "platform/http/curl/TransferLoop.h"

#include <curl/curl.h>

#include <algorithm>
#include <utility>

namespace orx::platform {
namespace {

// Connections that are kept when idle.
constexpr long keptConnections = 256;
// So few begin in a turn that those before them come through their handshakes meanwhile: the
// buffers of all handshakes of a burst at the same moment would set the process's peak of memory.
constexpr std::size_t beginsAtOnce = 8;
// libcurl's connections are looked at again after this time at the latest.
constexpr std::chrono::hours longestSleep{24};

CURLM* makeMulti() {
  CURLM* multi = curl_multi_init();
  if (multi != nullptr) curl_multi_setopt(multi, CURLMOPT_MAXCONNECTS, keptConnections);
  return multi;
}

int selectBits(std::uint8_t ready) {
  int bits = 0;
  if ((ready & SocketEvents::reading) != 0) bits |= CURL_CSELECT_IN;
  if ((ready & SocketEvents::writing) != 0) bits |= CURL_CSELECT_OUT;
  return bits;  // 0: libcurl finds out itself
}

}  // namespace

bool TransferLoop::open() {
  if (!surroundings_.events.open()) return false;
  if (share_ == nullptr) {
    // One thread at a time uses the share, so it needs no locks.
    share_ = curl_share_init();
    curl_share_setopt(share_, CURLSHOPT_SHARE, CURL_LOCK_DATA_SSL_SESSION);
    handles_.setShare(share_);
  }
  if (multi_ == nullptr) multi_ = makeMulti();
  if (multiOfHTTP2_ == nullptr) multiOfHTTP2_ = makeMulti();
  if (share_ == nullptr || multi_ == nullptr || multiOfHTTP2_ == nullptr) return false;
  curl_multi_setopt(multi_, CURLMOPT_SOCKETFUNCTION, &TransferLoop::watchSocket);
  curl_multi_setopt(multi_, CURLMOPT_SOCKETDATA, this);
  curl_multi_setopt(multi_, CURLMOPT_TIMERFUNCTION, &TransferLoop::setTimer);
  curl_multi_setopt(multi_, CURLMOPT_TIMERDATA, this);
  return true;
}

void TransferLoop::abandon() {
  surroundings_.sockets.closeAll();
  surroundings_.events.close();
}

// ---- libcurl calls back. ----

int TransferLoop::watchSocket(void*, int descriptor, int what, void* self, void*) noexcept {
  std::uint8_t interest = SocketEvents::nothing;
  if (what == CURL_POLL_IN || what == CURL_POLL_INOUT) interest |= SocketEvents::reading;
  if (what == CURL_POLL_OUT || what == CURL_POLL_INOUT) interest |= SocketEvents::writing;
  static_cast<TransferLoop*>(self)->surroundings_.events.want(descriptor, interest);
  return 0;
}

int TransferLoop::setTimer(void*, long milliseconds, void* self) noexcept {
  auto& timer = static_cast<TransferLoop*>(self)->timer_;
  if (milliseconds < 0) {
    timer.reset();
  } else {
    timer = Clock::now() + std::chrono::milliseconds(milliseconds);
  }
  return 0;
}

// ---- One round: wait, start, turn. ----

std::chrono::milliseconds TransferLoop::longestWait() const {
  std::chrono::milliseconds longest = surroundings_.watch.quietTime().value_or(longestSleep);
  if (timer_) {
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(*timer_ - Clock::now());
    longest = std::clamp(left, std::chrono::milliseconds(0), longest);
  }
  return longest;
}

void TransferLoop::wait(bool isUrgent) {
  surroundings_.watch.beginTurn();
  const bool mustNotWait = isUrgent || !waiting_.empty();
  auto longest = mustNotWait ? std::chrono::milliseconds(0) : longestWait();
  if (runningOverHTTP2_ > 0) {
    curl_waitfd others{surroundings_.events.descriptor(), CURL_WAIT_POLLIN, 0};
    curl_multi_poll(multiOfHTTP2_, &others, 1, static_cast<int>(longest.count()), nullptr);
    longest = std::chrono::milliseconds(0);
  }
  ready_ = surroundings_.events.wait(longest);
  surroundings_.watch.beginTurn();
}

void TransferLoop::take(std::vector<std::unique_ptr<Transfer>>& transfers) {
  for (auto& transfer : transfers) waiting_.push_back(std::move(transfer));
  transfers.clear();
}

void TransferLoop::beginSome() {
  surroundings_.watch.beginTurn();
  for (std::size_t count = 0; count < beginsAtOnce && !waiting_.empty();) {
    // Over HTTP/2 they share a connection; over HTTP/1.1 they mostly find one that waits for them.
    const bool needsConnection =
        !waiting_.front()->configuration()->usesHTTP2 && running_ >= surroundings_.sockets.count();
    if (needsConnection) ++count;
    begin(std::move(waiting_.front()));
    waiting_.pop_front();
  }
}

void TransferLoop::begin(std::unique_ptr<Transfer> transfer) {
  auto handle = handles_.take(transfer->configuration());
  if (!handle) {
    auto error = transportError(NSURLErrorUnknown, "no memory for a transfer", {});
    return Transfer::fail(std::move(transfer), std::move(error));
  }
  surroundings_.watch.add(*transfer, handle->options->timeout());
  ++running_;
  if (transfer->configuration()->usesHTTP2) ++runningOverHTTP2_;
  transfer->begin(std::move(handle), surroundings_);
  // Its handle knows whom it serves; that stands for the ownership until end().
  run(*transfer.release());
}

void TransferLoop::run(Transfer& transfer) {
  if (curl_multi_add_handle(multiOf(transfer), transfer.easy()) != CURLM_OK) {
    end(&transfer, CURLE_FAILED_INIT);
  }
}

void TransferLoop::turn() {
  beginSome();
  moveOn();
  if (surroundings_.watch.overdue() == nullptr) return;
  catchUp();
  while (auto* overdue = surroundings_.watch.overdue()) {
    end(static_cast<Transfer*>(overdue), CURLE_OPERATION_TIMEDOUT);
  }
}

// After the whole process has stood still everything looks overdue, while the answers wait to be
// read. Each round takes up other connections.
void TransferLoop::catchUp() {
  for (std::size_t rounds = running_ / SocketEvents::eventsAtOnce + 1; rounds > 0; --rounds) {
    ready_ = surroundings_.events.wait(std::chrono::milliseconds(0));
    moveOn();
  }
}

void TransferLoop::moveOn() {
  int running = 0;
  for (const auto& event : std::exchange(ready_, {})) {
    curl_multi_socket_action(multi_, event.descriptor, selectBits(event.ready), &running);
  }
  if (timer_ && *timer_ <= Clock::now()) {
    timer_.reset();
    curl_multi_socket_action(multi_, CURL_SOCKET_TIMEOUT, 0, &running);
  }
  collectFinished(multi_);
  if (runningOverHTTP2_ == 0) return;
  curl_multi_perform(multiOfHTTP2_, &running);
  collectFinished(multiOfHTTP2_);
}

void TransferLoop::collectFinished(void* multi) {
  int left = 0;
  while (const CURLMsg* message = curl_multi_info_read(multi, &left)) {
    if (message->msg != CURLMSG_DONE) continue;
    const CURLcode code = message->data.result;
    Transfer* transfer = Transfer::servedBy(message->easy_handle);
    if (transfer->continuesAfter(code)) {
      surroundings_.watch.noteProgress(*transfer);
      curl_multi_remove_handle(multi, transfer->easy());
      run(*transfer);
    } else {
      end(transfer, code);
    }
  }
}

void TransferLoop::end(Transfer* transfer, int code) {
  std::unique_ptr<Transfer> owner(transfer);
  surroundings_.watch.remove(*transfer);
  --running_;
  if (transfer->configuration()->usesHTTP2) --runningOverHTTP2_;
  transfer->finish(code);
  curl_multi_remove_handle(multiOf(*transfer), transfer->easy());
  handles_.giveBack(transfer->giveHandleBack());
  Transfer::report(std::move(owner));
}

void* TransferLoop::multiOf(const Transfer& transfer) const {
  return transfer.configuration()->usesHTTP2 ? multiOfHTTP2_ : multi_;
}

}  // namespace orx::platform
