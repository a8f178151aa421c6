// SPDX-License-Identifier: MIT
#include "platform/http/URLSessionDataTask.h"

#include <utility>

#include "platform/http/TransportError.h"
#include "platform/queues/WorkerPool.h"

namespace orx {

using namespace platform;

URLSessionDataTask::URLSessionDataTask(const std::optional<URL>& url,
                                       TransferHandler completionHandler)
    : url_(url),
      configuration_(URLSessionConfiguration::defaultConfiguration()),
      completionHandler_(std::move(completionHandler)) {}

std::shared_ptr<URLSessionDataTask> URLSessionDataTask::dataTaskWithURL_completionHandler(
    const std::optional<URL>& url, TransferHandler completionHandler) {
  return std::shared_ptr<URLSessionDataTask>(
      new URLSessionDataTask(url, std::move(completionHandler)));
}

void URLSessionDataTask::resume() {
  if (isStarted_.exchange(true)) return;
  // The handler moves out, so that what it holds goes when it has reported, though the task stays.
  if (url_) {
    return startTransfer({.url = *url_}, configuration_, std::move(completionHandler_));
  }
  // Here, since nobody catches what finds no memory in a job.
  auto error = transportError(NSURLErrorBadURL, "could not make a request: no valid URL", {});
  auto job = makeJob([handler = std::move(completionHandler_), error = std::move(error)] {
    if (handler) handler({.error = error});
  });
  WorkerPool::shared().ensureWorker();
  WorkerPool::shared().submit(std::move(job));
}

}  // namespace orx
