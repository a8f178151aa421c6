#include "platform/http/URLSession.h"

#include <atomic>
#include <utility>

#include "platform/http/DefaultConfiguration.h"
#include "platform/http/curl/Transfer.h"
#include "platform/http/curl/TransferEngine.h"
#include "platform/http/curl/TransportError.h"
#include "platform/process/ForkSafety.h"
#include "platform/queues/OperationQueue.h"
#include "platform/queues/WorkerPool.h"

namespace orx {

using namespace platform;

HeaderFields HTTPURLResponse::headerFields() const { return fieldsOfHead(head_); }

struct URLSession::State {
  // Absent for the shared session: the default of the moment, and a queue for each task.
  std::shared_ptr<const URLSessionConfiguration> configuration;
  std::shared_ptr<OperationQueue> delegateQueue;
};

struct URLSessionDataTask::State {
  std::optional<URLRequest> request;  // absent when there is no URL
  std::shared_ptr<const URLSessionConfiguration> configuration;
  Transfer::Receiver receiver;
  std::atomic<bool> isStarted{false};

  void start() {
    if (request) {
      TransferEngine::shared().submit(std::make_unique<Transfer>(
          *std::move(request), std::move(configuration), std::move(receiver)));
    } else {
      auto fail = [handler = std::move(receiver.handler)] {
        const auto error =
            transportError(NSURLErrorBadURL, "could not make a request: no valid URL", {});
        if (handler) handler(std::nullopt, nullptr, error);
      };
      if (receiver.queue) {
        receiver.queue->addOperationWithBlock(std::move(fail));
      } else {
        WorkerPool::shared().submit(makeJob(std::move(fail)));
      }
    }
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
  state->delegateQueue = std::make_shared<OperationQueue>();
  return std::shared_ptr<URLSession>(new URLSession(std::move(state)));
}

const std::shared_ptr<URLSession>& URLSession::sharedSession() {
  static constinit ProcessWide<std::shared_ptr<URLSession>> session;
  return session.get(
      [] { return std::shared_ptr<URLSession>(new URLSession(std::make_shared<State>())); });
}

void URLSession::startOnlyTask(URLRequest request,
                               std::shared_ptr<const URLSessionConfiguration> configuration,
                               CompletionHandler completionHandler) {
  TransferEngine::shared().submit(
      std::make_unique<Transfer>(std::move(request), std::move(configuration),
                                 Transfer::Receiver{std::move(completionHandler), nullptr}));
}

std::shared_ptr<URLSessionDataTask> URLSession::dataTaskWithRequest_completionHandler(
    URLRequest request, CompletionHandler completionHandler) {
  auto task = std::make_shared<URLSessionDataTask::State>();
  task->request = std::move(request);
  task->configuration =
      state_->configuration ? state_->configuration : sharedDefaultConfiguration();
  task->receiver = {std::move(completionHandler), state_->delegateQueue};
  return std::shared_ptr<URLSessionDataTask>(new URLSessionDataTask(std::move(task)));
}

std::shared_ptr<URLSessionDataTask> URLSession::dataTaskWithURL_completionHandler(
    const std::optional<URL>& url, CompletionHandler completionHandler) {
  if (url) {
    return dataTaskWithRequest_completionHandler(URLRequest{*url, "GET", {}, std::nullopt},
                                                 std::move(completionHandler));
  }
  auto task = std::make_shared<URLSessionDataTask::State>();
  task->receiver = {std::move(completionHandler), state_->delegateQueue};
  return std::shared_ptr<URLSessionDataTask>(new URLSessionDataTask(std::move(task)));
}

}  // namespace orx
