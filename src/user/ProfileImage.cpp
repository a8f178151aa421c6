#include <ORXAccount/ORVAAccountConstants.h>
#include <ORXAccount/ORVAAccountUser.h>

#include <utility>

#include "platform/http/URLSession.h"
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

void ORVAAccountUser::loadProfileImageDataWithCompletionBlock(
    ORVAAccountProfileImageBlock completionBlock) {
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
  const auto semaphore = std::make_shared<DispatchSemaphore>(0);
  setLoadProfileImageSemaphore(semaphore);
  auto self = std::static_pointer_cast<ORVAAccountUser>(shared_from_this());
  const auto task = URLSession::sharedSession()->dataTaskWithURL_completionHandler(
      pictureURL(),
      [self = std::move(self), completionBlock, semaphore](
          const std::optional<Data>& data, const std::shared_ptr<HTTPURLResponse>& response,
          const std::shared_ptr<Error>& error) {
        // A transfer that breaks off may have a response too; it fails all the same.
        self->didReceiveProfileImage(data, error ? 0 : response->statusCode(), error,
                                     completionBlock);
        semaphore->signal();
      });
  setLoadProfileImageTask(task);
  task->resume();
  // The record's next load starts when the signal has come, that is after the report of this one.
  semaphore->wait(queue);
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
  const BriefSection section;
  return imageState_->data;
}

void ORVAAccountUser::setProfileImageData(std::optional<Data> profileImageData) {
  const BriefSection section;
  imageState_->data.swap(profileImageData);
}

std::shared_ptr<URLSessionDataTask> ORVAAccountUser::loadProfileImageTask() const {
  const BriefSection section;
  return imageState_->task;
}

void ORVAAccountUser::setLoadProfileImageTask(
    std::shared_ptr<URLSessionDataTask> loadProfileImageTask) {
  const BriefSection section;
  imageState_->task.swap(loadProfileImageTask);
}

std::shared_ptr<OperationQueue> ORVAAccountUser::userOperationQueue() const {
  const BriefSection section;
  return imageState_->queue;
}

void ORVAAccountUser::setUserOperationQueue(std::shared_ptr<OperationQueue> userOperationQueue) {
  const BriefSection section;
  imageState_->queue.swap(userOperationQueue);
}

std::shared_ptr<DispatchSemaphore> ORVAAccountUser::loadProfileImageSemaphore() const {
  const BriefSection section;
  return imageState_->semaphore;
}

void ORVAAccountUser::setLoadProfileImageSemaphore(
    std::shared_ptr<DispatchSemaphore> loadProfileImageSemaphore) {
  const BriefSection section;
  imageState_->semaphore.swap(loadProfileImageSemaphore);
}

}  // namespace orx
