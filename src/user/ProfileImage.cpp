// SPDX-License-Identifier: MIT
#include <ORXAccount/ORVAAccountConstants.h>
#include <ORXAccount/ORVAAccountUser.h>

#include <cerrno>
#include <new>
#include <utility>

#include "platform/base/Result.h"
#include "platform/http/URLSessionDataTask.h"
#include "platform/process/ForkSafety.h"
#include "platform/queues/Callback.h"
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

// One load on its way through the record's queue, which runs no other until this one is reported.
struct Load {
  std::shared_ptr<ORVAAccountUser> user;
  std::shared_ptr<OperationQueue> queue;
  std::shared_ptr<ORVAAccountProfileImageBlock> block;
};

// Hands the outcome to the block where the host wants blocks to run. The block is gone afterwards,
// for all its holders: what it holds is destroyed where it ran. Then calls `afterwards`, there too.
template <typename Afterwards>
void report(const Load& load, const std::optional<Data>& imageData,
            const std::shared_ptr<Error>& error, Afterwards afterwards) {
  callBack(CallbackKind::Handler, [=] {
    const auto block = std::exchange(*load.block, nullptr);
    load.user->didLoadProfileImageData_error_completionBlock(imageData, error, block);
    afterwards();
  });
}

// The same for a load that makes no request, or no more of one.
void reportAtOnce(const Load& load, const std::optional<Data>& imageData,
                  const std::shared_ptr<Error>& error) {
  load.queue->setSuspended(true);
  report(load, imageData, error, [queue = load.queue] { queue->setSuspended(false); });
}

void didReceiveProfileImage(const Load& load, const TransferOutcome& outcome,
                            const std::shared_ptr<DispatchSemaphore>& semaphore) {
  // A transfer that breaks off may have a status too; it fails all the same.
  const bool isPicture = !outcome.error && isSuccess(outcome.statusCode);
  std::optional<Data> imageData;
  std::shared_ptr<Error> error;
  if (isPicture) {
    imageData = outcome.data.value_or(Data());
    load.user->setProfileImageData(imageData);
    load.user->setLoadProfileImageTask(nullptr);
  } else {
    error = outcome.error ? outcome.error : wrongResponseError(outcome.statusCode);
    load.user->setLoadProfileImageTask(nullptr);
    load.user->setProfileImageData(std::nullopt);
  }
  report(load, imageData, error, [semaphore] { semaphore->signal(); });
}

void loadProfileImage(const Load& load) {
  if (const auto imageData = load.user->profileImageData()) {
    return reportAtOnce(load, imageData, nullptr);
  }
  try {
    auto semaphore = std::make_shared<DispatchSemaphore>(0);
    load.user->setLoadProfileImageSemaphore(semaphore);
    const auto task = URLSessionDataTask::dataTaskWithURL_completionHandler(
        load.user->pictureURL(), [load, semaphore](const TransferOutcome& outcome) {
          didReceiveProfileImage(load, outcome, semaphore);
        });
    load.user->setLoadProfileImageTask(task);
    // The record's next load starts when the signal has come, that is after the report of this one.
    semaphore->wait(load.queue);
    task->resume();
  } catch (const std::bad_alloc&) {
    // On a worker nobody else would catch it, and the process would end.
    load.user->setLoadProfileImageTask(nullptr);
    reportAtOnce(load, std::nullopt, noMemoryToLoad());
  }
}

}  // namespace

void ORVAAccountUser::loadProfileImageDataWithCompletionBlock(
    ORVAAccountProfileImageBlock completionBlock) {
  noMemoryToLoad();
  auto queue = userOperationQueue();
  if (!queue) {
    // The host has set the property to null; the load must report all the same.
    queue = std::make_shared<OperationQueue>();
    setUserOperationQueue(queue);
  }
  const Load load{
      .user = std::static_pointer_cast<ORVAAccountUser>(shared_from_this()),
      .queue = queue,
      .block = std::make_shared<ORVAAccountProfileImageBlock>(std::move(completionBlock))};
  queue->addOperationWithBlock([load] { loadProfileImage(load); });
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
