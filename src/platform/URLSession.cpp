#include "platform/URLSession.h"

#include <atomic>
#include <utility>

#include "platform/DefaultConfiguration.h"
#include "platform/ForkSafety.h"
#include "platform/Strand.h"
#include "platform/TransferEngine.h"
#include "platform/WorkerPool.h"

namespace orx {
namespace {

// Where foreign code begins: what a handler throws ends the process here, as with std::thread.
void report(const URLSession::CompletionHandler& handler, const TransferOutcome& outcome) noexcept {
  if (handler) handler(outcome.data, outcome.response, outcome.error);
}

}  // namespace

struct URLSession::State {
  // Absent for the shared session: the default of the moment, and a queue for each task.
  std::shared_ptr<const URLSessionConfiguration> configuration;
  std::optional<Strand> delegateQueue;
};

struct URLSessionDataTask::State {
  std::optional<URLRequest> request;  // absent when there is no URL
  std::shared_ptr<const URLSessionConfiguration> configuration;
  std::optional<Strand> delegateQueue;
  URLSession::CompletionHandler handler;
  std::atomic<bool> isStarted{false};

  static void deliver(const std::optional<Strand>& queue, URLSession::CompletionHandler handler,
                      TransferOutcome outcome) {
    auto job = [handler = std::move(handler), outcome = std::move(outcome)] {
      report(handler, outcome);
    };
    if (queue) {
      queue->post(std::move(job));
    } else {
      WorkerPool::shared().submit(std::move(job));
    }
  }

  void start() {
    if (!request) {
      deliver(delegateQueue, std::move(handler),
              TransferOutcome::failure(
                  transportError(NSURLErrorBadURL, "could not make a request: no valid URL", {})));
      return;
    }
    auto completion = [queue = std::move(delegateQueue),
                       callback = std::move(handler)](TransferOutcome outcome) mutable {
      deliver(queue, std::move(callback), std::move(outcome));
    };
    TransferEngine::shared().submit(std::make_unique<Transfer>(
        *std::move(request), std::move(configuration), std::move(completion)));
  }
};

URLSessionDataTask::URLSessionDataTask(std::shared_ptr<State> state) : state_(std::move(state)) {}

URLSessionDataTask::~URLSessionDataTask() = default;

void URLSessionDataTask::resume() {
  if (!state_->isStarted.exchange(true)) state_->start();
}

URLSession::URLSession(std::shared_ptr<State> state) : state_(std::move(state)) {}

URLSession::~URLSession() = default;

std::shared_ptr<URLSession> URLSession::sessionWithConfiguration(
    URLSessionConfiguration configuration) {
  return sessionWithConfiguration(
      std::make_shared<const URLSessionConfiguration>(std::move(configuration)));
}

std::shared_ptr<URLSession> URLSession::sessionWithConfiguration(
    std::shared_ptr<const URLSessionConfiguration> configuration) {
  auto state = std::make_shared<State>();
  state->configuration = std::move(configuration);
  state->delegateQueue.emplace();
  return std::shared_ptr<URLSession>(new URLSession(std::move(state)));
}

const std::shared_ptr<URLSession>& URLSession::sharedSession() {
  static constinit std::atomic<std::shared_ptr<URLSession>*> slot = nullptr;
  return processWide(slot, [] {
    return new std::shared_ptr<URLSession>(new URLSession(std::make_shared<State>()));
  });
}

std::shared_ptr<URLSessionDataTask> URLSession::dataTaskWithRequest_completionHandler(
    URLRequest request, CompletionHandler completionHandler) {
  auto task = std::make_shared<URLSessionDataTask::State>();
  task->request = std::move(request);
  task->configuration =
      state_->configuration ? state_->configuration : sharedDefaultConfiguration();
  task->delegateQueue = state_->delegateQueue;
  task->handler = std::move(completionHandler);
  return std::shared_ptr<URLSessionDataTask>(new URLSessionDataTask(std::move(task)));
}

std::shared_ptr<URLSessionDataTask> URLSession::dataTaskWithURL_completionHandler(
    const std::optional<URL>& url, CompletionHandler completionHandler) {
  if (url) {
    return dataTaskWithRequest_completionHandler(URLRequest{*url, "GET", {}, std::nullopt},
                                                 std::move(completionHandler));
  }
  auto task = std::make_shared<URLSessionDataTask::State>();
  task->delegateQueue = state_->delegateQueue;
  task->handler = std::move(completionHandler);
  return std::shared_ptr<URLSessionDataTask>(new URLSessionDataTask(std::move(task)));
}

}  // namespace orx
