#include "platform/TransferEngine.h"

#include <curl/curl.h>

#include <cstdlib>
#include <system_error>
#include <utility>
#include <vector>

#include "platform/BackgroundThread.h"
#include "platform/ForkSafety.h"
#include "platform/WorkerPool.h"

namespace orx {
namespace {

// Connections that are kept when idle, and libcurl handles kept for re-use.
constexpr long keptConnections = 256;
constexpr std::size_t keptHandles = 256;
// How long the end of the process waits for the transfer thread to leave libcurl.
constexpr std::chrono::seconds longestStop{5};

// An idle libcurl handle and the options that stand in it: the next call mostly wants the same.
struct Handle {
  CURL* easy;
  std::shared_ptr<const TransferOptions> options;
};

}  // namespace

// The part of the engine that a fork does not take over.
struct TransferEngine::State {
  State* inherited = nullptr;  // the parent's, in the child of a fork
  CURLM* multi = nullptr;
  CURLSH* share = nullptr;

  // Under the inbox's mutex.
  std::vector<std::unique_ptr<Transfer>> inbox;
  bool threadRuns = false;
  bool sleeps = false;

  // The transfer thread's own.
  std::vector<std::unique_ptr<Transfer>> arrived;
  std::vector<Handle> handles;
  TransferSurroundings surroundings;
  std::shared_ptr<const TransferOptions> lastOptions;

  bool makeLibcurl();
  void work();
  void start(std::unique_ptr<Transfer> transfer);
  void collectFinished();
  void endOverdue();
  void end(Transfer* transfer, CURLcode code);
  CURL* takeHandle(const std::shared_ptr<const TransferOptions>& options);
  void giveBack(CURL* easy, std::shared_ptr<const TransferOptions> options);
  std::shared_ptr<const TransferOptions> optionsFor(const URLSessionConfiguration& configuration);
};

bool TransferEngine::State::makeLibcurl() {
  if (multi != nullptr) return true;
  // One thread uses the share, so it needs no locks.
  share = curl_share_init();
  curl_share_setopt(share, CURLSHOPT_SHARE, CURL_LOCK_DATA_SSL_SESSION);
  multi = curl_multi_init();
  if (multi == nullptr || share == nullptr) return false;
  curl_multi_setopt(multi, CURLMOPT_MAXCONNECTS, keptConnections);
  return true;
}

// With the options set.
CURL* TransferEngine::State::takeHandle(const std::shared_ptr<const TransferOptions>& options) {
  Handle handle{};
  if (handles.empty()) {
    handle.easy = curl_easy_init();
    if (handle.easy == nullptr) return nullptr;
  } else {
    handle = std::move(handles.back());
    handles.pop_back();
    if (handle.options == options) return handle.easy;
    curl_easy_reset(handle.easy);
  }
  options->applyTo(handle.easy);
  curl_easy_setopt(handle.easy, CURLOPT_SHARE, share);
  return handle.easy;
}

void TransferEngine::State::giveBack(CURL* easy, std::shared_ptr<const TransferOptions> options) {
  if (handles.size() < keptHandles) {
    handles.push_back({easy, std::move(options)});
  } else {
    curl_easy_cleanup(easy);
  }
}

std::shared_ptr<const TransferOptions> TransferEngine::State::optionsFor(
    const URLSessionConfiguration& configuration) {
  if (!lastOptions || lastOptions->configuration() != configuration) {
    lastOptions = std::make_shared<TransferOptions>(configuration);
  }
  return lastOptions;
}

void TransferEngine::State::start(std::unique_ptr<Transfer> transfer) {
  auto options = optionsFor(transfer->configuration());
  CURL* easy = takeHandle(options);
  if (easy == nullptr) {
    transfer->fail(transportError(NSURLErrorUnknown, "no memory for a transfer", {}));
    return;
  }
  surroundings.watch.add(*transfer, options->timeout());
  transfer->begin(easy, std::move(options), surroundings);
  // The handle's private pointer owns it from here.
  Transfer* running = transfer.release();
  if (curl_multi_add_handle(multi, easy) != CURLM_OK) end(running, CURLE_FAILED_INIT);
}

void TransferEngine::State::end(Transfer* transfer, CURLcode code) {
  const std::unique_ptr<Transfer> owner(transfer);
  surroundings.watch.remove(*transfer);
  CURL* easy = transfer->easy();
  transfer->finish(code);
  curl_multi_remove_handle(multi, easy);
  giveBack(easy, transfer->options());
}

void TransferEngine::State::collectFinished() {
  int left = 0;
  while (const CURLMsg* message = curl_multi_info_read(multi, &left)) {
    if (message->msg != CURLMSG_DONE) continue;
    const CURLcode code = message->data.result;
    CURL* easy = message->easy_handle;
    Transfer* transfer = nullptr;
    curl_easy_getinfo(easy, CURLINFO_PRIVATE, &transfer);
    if (!transfer->continuesAfter(code)) {
      end(transfer, code);
      continue;
    }
    surroundings.watch.noteProgress(*transfer);
    curl_multi_remove_handle(multi, easy);
    if (curl_multi_add_handle(multi, easy) != CURLM_OK) end(transfer, CURLE_FAILED_INIT);
  }
}

void TransferEngine::State::endOverdue() {
  while (auto* overdue = surroundings.watch.overdue()) {
    end(static_cast<Transfer*>(overdue), CURLE_OPERATION_TIMEDOUT);
  }
}

void TransferEngine::State::work() {
  surroundings.watch.beginTurn();
  for (auto& transfer : arrived) start(std::move(transfer));
  arrived.clear();
  int running = 0;
  curl_multi_perform(multi, &running);
  collectFinished();
  endOverdue();
}

TransferEngine::TransferEngine() : state_(new State) {
  holdAcrossFork(ForkRank::transferEngine, workMutex_);
  holdAcrossFork(ForkRank::transferInbox, inboxMutex_, [this] {
    // The parent's transfers are not the child's. Nothing of them is freed: that would say goodbye
    // on the parent's connections.
    state_->surroundings.sockets.closeAll();
    State* inherited = std::exchange(state_, new State);
    state_->inherited = inherited;
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
      if (std::exchange(state_->sleeps, false)) curl_multi_wakeup(state_->multi);
      return;
    }
  }
  transfer->fail(transportError(NSURLErrorUnknown, "the system has no thread or memory left", {}));
}

bool TransferEngine::ensureRunning() {
  State& state = *state_;
  if (state.threadRuns) return true;
  initialiseLibcurl();
  if (!state.makeLibcurl()) return false;
  try {
    startBackgroundThread([this, &state] { run(state); });
  } catch (const std::system_error&) {
    return false;
  }
  state.threadRuns = true;
  return true;
}

void TransferEngine::run(State& state) {
  for (;;) {
    {
      const std::lock_guard working(workMutex_);
      state.work();
    }
    sleep(state);
  }
}

void TransferEngine::sleep(State& state) {
  std::unique_lock lock(inboxMutex_);
  if (stopping_) park(lock);
  state.arrived.swap(state.inbox);
  if (!state.arrived.empty()) return;
  state.sleeps = true;
  lock.unlock();

  state.surroundings.watch.beginTurn();
  const auto quiet = state.surroundings.watch.quietTime().value_or(std::chrono::hours(24));
  curl_multi_poll(state.multi, nullptr, 0, static_cast<int>(quiet.count()), nullptr);

  lock.lock();
  state.sleeps = false;
  if (stopping_) park(lock);
  state.arrived.swap(state.inbox);
}

void TransferEngine::park(std::unique_lock<std::mutex>& lock) {
  parked_ = true;
  parkedChanged_.notify_all();
  parkForever(lock);
}

void TransferEngine::stop() {
  // First, so that what has completed already reports no more.
  WorkerPool::shared().stop();
  std::unique_lock lock(inboxMutex_);
  stopping_ = true;
  if (!state_->threadRuns) return;
  curl_multi_wakeup(state_->multi);
  parkedChanged_.wait_for(lock, longestStop, [this] { return parked_; });
}

}  // namespace orx
