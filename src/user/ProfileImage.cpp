#include <ORXAccount/ORVAAccountConstants.h>
#include <ORXAccount/ORVAAccountUser.h>

#include <mutex>
#include <utility>

#include "platform/http/URLSessionDataTask.h"
#include "platform/process/ForkSafety.h"
#include "platform/queues/DispatchSemaphore.h"
#include "platform/queues/OperationQueue.h"
#include "user/ImageState.h"

namespace orx {

using namespace platform;

namespace {

constexpr std::string_view kErrorDomain = "ORVAAccountUserErrorDomain";

bool isSuccess(long statusCode) { return statusCode >= 200 && statusCode < 300; }

std::shared_ptr<Error> wrongResponseError(long statusCode) {
  return Error::errorWithDomain_code_userInfo(
      kErrorDomain, statusCode,
      {{std::string(NSLocalizedDescriptionKey), "The response is wrong"}});
}

}  // namespace

ForkSafeMutex& ORVAAccountUser::ImageState::mutex() {
  static constinit ProcessWide<ForkSafeMutex> shared;
  return shared.get([] { return ForkSafeMutex(ForkSafeMutex::Section::Brief); });
}

void ORVAAccountUser::loadProfileImageDataWithCompletionBlock(
    ORVAAccountProfileImageBlock completionBlock) {
  auto self = std::static_pointer_cast<ORVAAccountUser>(shared_from_this());
  auto queue = userOperationQueue();
  if (!queue) {
    // Somebody took the queue away; the load is to be reported all the same.
    queue = OperationQueue::queueWithMaxConcurrentOperationCount(1);
    setUserOperationQueue(queue);
  }
  queue->addOperationWithFinishingBlock(
      [self = std::move(self), block = std::move(completionBlock)](OperationQueue::Finish finish) {
        self->loadProfileImage(block, std::move(finish));
      });
}

void ORVAAccountUser::loadProfileImage(const ORVAAccountProfileImageBlock& completionBlock,
                                       std::function<void()> finish) {
  if (const auto imageData = profileImageData()) {
    didLoadProfileImageData_error_completionBlock(imageData, nullptr, completionBlock);
    return finish();
  }
  const auto semaphore = DispatchSemaphore::createWithCount(0);
  setLoadProfileImageSemaphore(semaphore);
  auto self = std::static_pointer_cast<ORVAAccountUser>(shared_from_this());
  const auto task = URLSessionDataTask::dataTaskWithURL_completionHandler(
      pictureURL(),
      [self = std::move(self), completionBlock, semaphore](const TransferOutcome& outcome) {
        // A transfer that broke off is an error even when its status has arrived.
        self->didReceiveProfileImage(outcome.data, outcome.statusCode, outcome.error,
                                     completionBlock);
        semaphore->signal();
      });
  setLoadProfileImageTask(task);
  task->resume();
  // The record's queue waits here, without a thread: the next load of this record begins when the
  // report of this one has returned.
  semaphore->wait_then(std::move(finish));
}

void ORVAAccountUser::didReceiveProfileImage(const std::optional<Data>& data, long statusCode,
                                             const std::shared_ptr<Error>& error,
                                             const ORVAAccountProfileImageBlock& completionBlock) {
  if (!error && isSuccess(statusCode)) {
    setProfileImageData(data.value_or(Data()));
    setLoadProfileImageTask(nullptr);
    return didLoadProfileImageData_error_completionBlock(profileImageData(), nullptr,
                                                         completionBlock);
  }
  setLoadProfileImageTask(nullptr);
  setProfileImageData(std::nullopt);
  didLoadProfileImageData_error_completionBlock(
      std::nullopt, error ? error : wrongResponseError(statusCode), completionBlock);
}

void ORVAAccountUser::didLoadProfileImageData_error_completionBlock(
    const std::optional<Data>& imageData, const std::shared_ptr<Error>& error,
    const ORVAAccountProfileImageBlock& completionBlock) const {
  if (completionBlock) completionBlock(imageData, error);
}

std::optional<Data> ORVAAccountUser::profileImageData() const {
  const std::lock_guard lock(ImageState::mutex());
  return imageState_->data;
}

void ORVAAccountUser::setProfileImageData(std::optional<Data> profileImageData) {
  const std::lock_guard lock(ImageState::mutex());
  imageState_->data.swap(profileImageData);
}

std::shared_ptr<URLSessionDataTask> ORVAAccountUser::loadProfileImageTask() const {
  const std::lock_guard lock(ImageState::mutex());
  return imageState_->task;
}

void ORVAAccountUser::setLoadProfileImageTask(
    std::shared_ptr<URLSessionDataTask> loadProfileImageTask) {
  const std::lock_guard lock(ImageState::mutex());
  imageState_->task.swap(loadProfileImageTask);
}

std::shared_ptr<OperationQueue> ORVAAccountUser::userOperationQueue() const {
  const std::lock_guard lock(ImageState::mutex());
  return imageState_->queue;
}

void ORVAAccountUser::setUserOperationQueue(std::shared_ptr<OperationQueue> userOperationQueue) {
  const std::lock_guard lock(ImageState::mutex());
  imageState_->queue.swap(userOperationQueue);
}

std::shared_ptr<DispatchSemaphore> ORVAAccountUser::loadProfileImageSemaphore() const {
  const std::lock_guard lock(ImageState::mutex());
  return imageState_->semaphore;
}

void ORVAAccountUser::setLoadProfileImageSemaphore(
    std::shared_ptr<DispatchSemaphore> loadProfileImageSemaphore) {
  const std::lock_guard lock(ImageState::mutex());
  imageState_->semaphore.swap(loadProfileImageSemaphore);
}

}  // namespace orx
