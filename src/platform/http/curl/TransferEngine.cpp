#include "platform/http/curl/TransferEngine.h"

#include <curl/curl.h>

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <utility>
#include <vector>

#include "platform/http/TransportError.h"
#include "platform/http/curl/MultiHandle.h"
#include "platform/process/ForkSafety.h"

namespace orx::platform {
namespace {

// How long the end of the process waits for libcurl to be left.
constexpr std::chrono::seconds longestStop{5};

}  // namespace

// The part of the engine that a fork does not take over.
struct TransferEngine::State {
  State* inherited = nullptr;  // the parent's, in the child of a fork

  // Under the inbox's mutex.
  std::vector<std::unique_ptr<Transfer>> inbox;
  bool isAttended = false;
  bool sleeps = false;

  // The attending worker's own.
  MultiHandle multi;
  std::vector<std::unique_ptr<Transfer>> arrived;
  bool connectionsWait = false;  // the last turn was for what had arrived alone
};

TransferEngine::TransferEngine() : state_(new State) {
  holdAcrossFork(ForkRank::transferEngine, workMutex_);
  holdAcrossFork(ForkRank::transferInbox, inboxMutex_, [this] {
    // The parent's transfers are not the child's. Nothing of them is freed: that would say goodbye
    // on the parent's connections.
    state_->multi.abandon();
    State* inherited = std::exchange(state_, new State);
    state_->inherited = inherited;
    isInsideLibcurl_ = false;
  });
}

void TransferEngine::initialiseLibcurl() {
  if (std::exchange(libcurlIsInitialised_, true)) return;
  curl_global_init(CURL_GLOBAL_DEFAULT);
  // After libcurl and OpenSSL have registered theirs, so before they are taken down.
  std::atexit([] { shared().stop(); });
}

TransferEngine& TransferEngine::shared() {
  // What completions use is to be there, and known to forks, before the first of them comes.
  WorkerPool::shared();
  static constinit std::atomic<TransferEngine*> slot = nullptr;
  return processWide(slot, [] { return new TransferEngine; });
}

void TransferEngine::submit(std::unique_ptr<Transfer> transfer) {
  {
    const std::lock_guard lock(inboxMutex_);
    // While the process ends nothing is started and nothing reports.
    if (stopping_ || ensureRunning()) {
      state_->inbox.push_back(std::move(transfer));
      if (std::exchange(state_->sleeps, false)) state_->multi.wake();
      return;
    }
  }
  transfer->report(
      {.error = transportError(NSURLErrorUnknown,
                               "the system has no thread, descriptor or memory left", {})});
}

bool TransferEngine::ensureRunning() {
  State& state = *state_;
  if (state.isAttended) return true;
  initialiseLibcurl();
  state.isAttended = state.multi.open() && WorkerPool::shared().attendTo(*this);
  return state.isAttended;
}

void TransferEngine::wait() {
  State& state = *state_;
  {
    const InboxLock lock(inboxMutex_);
    state.arrived.swap(state.inbox);
    // Start new transfers first, but poll the sockets at least every second pass; else a stream of
    // submissions starves the transfers that run.
    state.connectionsWait = !state.arrived.empty() && !state.connectionsWait;
    if (state.connectionsWait || !enterLibcurl(lock)) return;
    state.sleeps = state.arrived.empty();
  }
  state.multi.wait(!state.arrived.empty());
  const InboxLock lock(inboxMutex_);
  leaveLibcurl(lock);
  state.sleeps = false;
  if (state.arrived.empty()) state.arrived.swap(state.inbox);
}

void TransferEngine::turn() {
  const std::lock_guard working(workMutex_);
  {
    const InboxLock lock(inboxMutex_);
    if (!enterLibcurl(lock)) return;
  }
  state_->multi.take(state_->arrived);
  state_->multi.turn();
  const InboxLock lock(inboxMutex_);
  leaveLibcurl(lock);
}

bool TransferEngine::enterLibcurl(const InboxLock&) {
  isInsideLibcurl_ = !stopping_;
  return isInsideLibcurl_;
}

void TransferEngine::leaveLibcurl(const InboxLock&) {
  isInsideLibcurl_ = false;
  if (stopping_) libcurlIsLeft_.notify_all();
}

void TransferEngine::stop() {
  // First, so that what has completed already reports no more.
  WorkerPool::shared().stop();
  std::unique_lock lock(inboxMutex_);
  stopping_ = true;
  if (!state_->isAttended) return;
  state_->multi.wake();
  libcurlIsLeft_.wait_for(lock, longestStop, [this] { return !isInsideLibcurl_; });
}

void startTransfer(URLRequest request, std::shared_ptr<const URLSessionConfiguration> configuration,
                   TransferHandler handler) {
  TransferEngine::shared().submit(
      std::make_unique<Transfer>(std::move(request), std::move(configuration), std::move(handler)));
}

}  // namespace orx::platform
