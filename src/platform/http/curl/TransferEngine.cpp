// SPDX-License-Identifier: MIT
#include "platform/http/curl/TransferEngine.h"

#include <curl/curl.h>

#include <chrono>
#include <condition_variable>
#include <cstdlib>
#include <utility>

#include "platform/http/TransportError.h"
#include "platform/http/curl/LibCurl.h"
#include "platform/http/curl/MultiHandle.h"
#include "platform/http/curl/Proxy.h"
#include "platform/process/ForkSafety.h"

namespace orx::platform {
namespace {

// How long exit() waits for a thread that is inside libcurl.
constexpr std::chrono::seconds longestStop{5};

const ForkChildHandler inChild(&TransferEngine::leaveParentsConnections);

// What keeps a request from being tried at all; null when nothing does.
std::shared_ptr<Error> obstacleTo(const URL& url, const URLSessionConfiguration& configuration) {
  if (const std::string missing = missingLibcurl(); !missing.empty()) {
    return transportError(NSURLErrorUnknown, "could not load " + missing, {});
  }
  const auto& proxy = configuration.proxy();
  if (!proxy || proxy->empty() || parsedProxy(*proxy)) return nullptr;
  // In words of its own, since libcurl would repeat the text with its password.
  return transportError(
      NSURLErrorCannotConnectToHost,
      "could not connect to " + url.host() + ": what names the proxy is no URL of one",
      url.absoluteString());
}

}  // namespace

// What the child of a fork begins anew.
struct TransferEngine::State {
  // That of the parent, kept in the child and never used. Freeing it would make libcurl and OpenSSL
  // say goodbye on the parent's connections.
  const State* parents = nullptr;

  // Under the inbox's mutex.
  JobList inbox;
  bool isRunning = false;  // the pool runs this reactor
  bool sleeps = false;     // the leader waits for sockets and must be woken for a new transfer
  bool isInsideLibcurl = false;
  std::condition_variable libcurlIsLeft;

  // The leader's own.
  MultiHandle multi;
  JobList arrived;
};

TransferEngine& TransferEngine::shared() {
  static constinit TransferEngine engine;
  return engine;
}

void TransferEngine::leaveParentsConnections() {
  TransferEngine& engine = shared();
  if (engine.state_ == nullptr) return;
  engine.state_->multi.abandon();
  // The parent's transfers go on there; in the child they would be reported a second time. The new
  // state is made by the child's first call: memory that runs out here would end the child.
  engine.state_->parents = std::exchange(engine.parents_, engine.state_);
  engine.state_ = nullptr;
}

void TransferEngine::submit(std::unique_ptr<Transfer> transfer) {
  {
    const InboxLock lock(forkLocks.transferInbox);
    if (state_ == nullptr) state_ = new State;
    // After exit() has begun it is kept in the inbox: nothing starts and nothing reports.
    if (isStopping_ || ensureRunning()) {
      state_->inbox.add(std::move(transfer));
      // One wake-up for any number of submissions: the first takes the mark away.
      if (std::exchange(state_->sleeps, false)) state_->multi.wake();
      return;
    }
  }
  // Outside the lock: nothing of the host's, a handler's destructor either, may run under it.
  auto error = transportError(NSURLErrorUnknown, "the system has no descriptor or memory left", {});
  Transfer::report(std::move(transfer), {.error = std::move(error)});
}

bool TransferEngine::ensureRunning() {
  if (state_->isRunning) return true;
  // exit() runs handlers in reverse order: this one comes before those that libcurl and OpenSSL
  // registered when they began, and no thread may be inside them by then.
  if (!std::exchange(stopsAtExit_, true)) std::atexit([] { shared().stop(); });
  // A failure is not remembered: the next submission tries again, when there may be descriptors.
  state_->isRunning = state_->multi.open();
  if (state_->isRunning) WorkerPool::shared().setReactor(*this);
  return state_->isRunning;
}

// ---- The leader. ----

void TransferEngine::wait() {
  State& state = *state_;
  {
    const InboxLock lock(forkLocks.transferInbox);
    state.inbox.moveTo(state.arrived);
    if (!enterLibcurl(lock)) return;
    state.sleeps = state.arrived.empty();
  }
  state.multi.wait(!state.arrived.empty());
  const InboxLock lock(forkLocks.transferInbox);
  leaveLibcurl(lock);
  state.sleeps = false;
  // What came in while it slept starts in this pass rather than in the next one.
  if (!state.arrived.empty()) return;
  state.inbox.moveTo(state.arrived);
  // A connection may have ended after the look and before the call was made.
  if (!state.arrived.empty()) state.multi.forgetLook();
}

void TransferEngine::dispatch() {
  // Locked while libcurl works, so that a fork finds it, and OpenSSL, between two steps.
  const std::lock_guard working(forkLocks.transferEngine);
  {
    const InboxLock lock(forkLocks.transferInbox);
    if (!enterLibcurl(lock)) return;
  }
  state_->multi.enqueue(state_->arrived);
  state_->multi.runOnce();
  const InboxLock lock(forkLocks.transferInbox);
  leaveLibcurl(lock);
}

void TransferEngine::interrupt() { state_->multi.wake(); }

// exit() frees what libcurl and OpenSSL share while other threads still run. So stop() forbids to
// enter from then on, and waits for the thread that is inside.
bool TransferEngine::enterLibcurl(const InboxLock&) {
  state_->isInsideLibcurl = !isStopping_;
  return state_->isInsideLibcurl;
}

void TransferEngine::leaveLibcurl(const InboxLock&) {
  state_->isInsideLibcurl = false;
  if (isStopping_) state_->libcurlIsLeft.notify_all();
}

void TransferEngine::stop() {
  // First, so that what has completed already reports no more.
  WorkerPool::shared().stop();
  InboxLock lock(forkLocks.transferInbox);
  isStopping_ = true;
  if (state_ == nullptr || !state_->isRunning) return;
  // The leader may sleep for hours in wait(), and that counts as inside.
  state_->multi.wake();
  // For a bounded time: whatever holds that thread up must not keep the process from ending.
  state_->libcurlIsLeft.wait_for(lock, longestStop, [this] { return !state_->isInsideLibcurl; });
}

void startTransfer(URLRequest request, const URLSessionConfiguration& configuration,
                   TransferHandler handler) {
  // Without any worker neither an answer nor an error could be reported.
  WorkerPool::shared().ensureWorker();
  // On the caller's thread: the host may change its environment once the call has returned.
  const auto completed = withProxyOfEnvironment(configuration);
  auto obstacle = obstacleTo(request.url, completed);
  auto transfer = std::make_unique<Transfer>(std::move(request), completed, std::move(handler));
  if (obstacle) return Transfer::report(std::move(transfer), {.error = std::move(obstacle)});
  TransferEngine::shared().submit(std::move(transfer));
}

void prepareConnection(const URL& url, const URLSessionConfiguration& configuration) {
  WorkerPool::shared().ensureWorker();
  if (!missingLibcurl().empty()) return;
  TransferEngine::shared().submit(Transfer::preparing(url, withProxyOfEnvironment(configuration)));
}

}  // namespace orx::platform
