#include <ORXAccount/ORVAAccountConstants.h>
#include <ORXAccount/ORVAAccountUser.h>

#include <cerrno>
#include <new>
#include <utility>

#include "platform/base/Result.h"
#include "platform/http/URLSessionDataTask.h"
#include "platform/process/ForkSafety.h"
#include "platform/queues/DispatchSemaphore.h"
#include "platform/queues/OperationQueue.h"
#include "platform/storage/FileErrors.h"
#include "user/UserState.h"

namespace orx {

using namespace platform;

namespace {

bool isSuccess(long statusCode) { return statusCode >= 200 && statusCode < 300; }

// Made by the first use, which may throw; so each load uses it before it starts.
const std::shared_ptr<Error>& noMemoryToLoad() {
  static constinit ProcessWide<std::shared_ptr<Error>> error;
  return error.get([] {
    return makeFailure(NSPOSIXErrorDomain, ENOMEM, "There is no memory to load the picture.")
        .value();
  });
}

std::shared_ptr<Error> wrongResponseError(long statusCode) {
  try {
    return Error::errorWithDomain_code_userInfo(
        kORVAAccountUserErrorDomain, statusCode,
        {{NSLocalizedDescriptionKey, "The response is wrong"}});
  } catch (const std::bad_alloc&) {
    return noMemoryToLoad();
  }
}

}  // namespace

void ORVAAccountUser::loadProfileImageDataWithCompletionBlock(
    ORVAAccountProfileImageBlock completionBlock) {
  noMemoryToLoad();
  auto self = std::static_pointer_cast<ORVAAccountUser>(shared_from_this());
  auto queue = userOperationQueue();
  if (!queue) {
    // The host has set the property to null; the load must report all the same.
    queue = std::make_shared<OperationQueue>();
    setUserOperationQueue(queue);
  }
  queue->addOperationWithBlock([self = std::move(self), queue, block = std::move(completionBlock)] {
    self->loadProfileImage(block, queue);
  });
}

void ORVAAccountUser::loadProfileImage(const ORVAAccountProfileImageBlock& completionBlock,
                                       const std::shared_ptr<OperationQueue>& queue) {
  if (const auto imageData = profileImageData()) {
    return didLoadProfileImageData_error_completionBlock(imageData, nullptr, completionBlock);
  }
  std::shared_ptr<DispatchSemaphore> semaphore;
  try {
    semaphore = std::make_shared<DispatchSemaphore>(0);
    setLoadProfileImageSemaphore(semaphore);
    auto self = std::static_pointer_cast<ORVAAccountUser>(shared_from_this());
    const auto task = URLSessionDataTask::dataTaskWithURL_completionHandler(
        pictureURL(),
        [self = std::move(self), completionBlock, semaphore](const TransferOutcome& outcome) {
          // A transfer that breaks off may have a status too; it fails all the same.
          self->didReceiveProfileImage(outcome.data, outcome.statusCode, outcome.error,
                                       completionBlock);
          semaphore->signal();
        });
    setLoadProfileImageTask(task);
    // The record's next load starts when the signal has come, that is after the report of this one.
    semaphore->wait(queue);
    task->resume();
  } catch (const std::bad_alloc&) {
    // On a worker nobody else would catch it, and the process would end.
    setLoadProfileImageTask(nullptr);
    didLoadProfileImageData_error_completionBlock(std::nullopt, noMemoryToLoad(), completionBlock);
    if (semaphore) semaphore->signal();
  }
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

std::optional<Data> ORVAAccountUser::profileImageData() const { return state_->imageData.get(); }

void ORVAAccountUser::setProfileImageData(std::optional<Data> profileImageData) {
  state_->imageData.set(std::move(profileImageData));
}

std::shared_ptr<URLSessionDataTask> ORVAAccountUser::loadProfileImageTask() const {
  return state_->imageTask.get();
}

void ORVAAccountUser::setLoadProfileImageTask(
    std::shared_ptr<URLSessionDataTask> loadProfileImageTask) {
  state_->imageTask.set(std::move(loadProfileImageTask));
}

std::shared_ptr<OperationQueue> ORVAAccountUser::userOperationQueue() const {
  return state_->imageQueue.get();
}

void ORVAAccountUser::setUserOperationQueue(std::shared_ptr<OperationQueue> userOperationQueue) {
  state_->imageQueue.set(std::move(userOperationQueue));
}

std::shared_ptr<DispatchSemaphore> ORVAAccountUser::loadProfileImageSemaphore() const {
  return state_->imageSemaphore.get();
}

void ORVAAccountUser::setLoadProfileImageSemaphore(
    std::shared_ptr<DispatchSemaphore> loadProfileImageSemaphore) {
  state_->imageSemaphore.set(std::move(loadProfileImageSemaphore));
}

}  // namespace orx
