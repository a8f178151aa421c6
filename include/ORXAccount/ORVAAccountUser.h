// SPDX-License-Identifier: MIT
#pragma once

#include <ORXAccount/platform/Coder.h>
#include <ORXAccount/platform/Data.h>
#include <ORXAccount/platform/Error.h>
#include <ORXAccount/platform/Export.h>
#include <ORXAccount/platform/URL.h>
#include <ORXAccount/platform/Value.h>

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace orx {

class DispatchSemaphore;
class OperationQueue;
class URLSessionDataTask;

// Receives the outcome of one picture load, exactly once: the picture's bytes (which may be empty)
// or an error. Runs on a background thread, or where the host's executor brings it
// (CallbackExecutor.h); it may block and start other work; it must not throw (the process ends if
// it does).
using ORVAAccountProfileImageBlock =
    std::function<void(const std::optional<Data>& imageData, const std::shared_ptr<Error>& error)>;

// The record of a signed-in user: the profile fields that the service returned at sign-in. Its
// content never changes, so the accessors may be called from any thread. Two records are equal when
// their fields are; a record's hash follows its identity all the same.
class ORX_EXPORT ORVAAccountUser final : public SecureCoding {
 public:
  // Wraps the very dictionary it is given. An absent one is accepted: every field reads as absent.
  static std::shared_ptr<ORVAAccountUser> initWithUserInfo(std::optional<Dictionary> userInfo);

  // Everything as the service sent it; absent when the record was made from nothing.
  const std::optional<Dictionary>& userInfo() const;

  // Single fields as text, absent when the field is missing or holds no text; a number or boolean
  // comes as its text.
  std::optional<std::string> login() const;
  std::optional<std::string> email() const;
  // The field "country", or "region" where that is missing or empty.
  std::optional<std::string> country() const;
  std::optional<std::string> cusID() const;
  std::optional<std::string> ticket() const;
  std::optional<std::string> firstName() const;
  std::optional<std::string> lastName() const;
  std::optional<std::string> nickName() const;
  // Where the picture is, on the picture server of the user's own country; absent when the picture
  // field makes no URL: a blank, "100%" or "a[b]", since nothing is escaped.
  std::optional<URL> pictureURL() const;
  // The instant of the birth date, read as UTC; absent unless it has the form 1985-07-14T08:30:00.
  std::optional<std::chrono::sys_seconds> birthdate() const;
  std::optional<std::string> mobile() const;
  // The birth date as the service wrote it.
  std::optional<std::string> birthdateString() const;
  // True for a user whose country is "CHN".
  bool isCNServer() const;

  // True for this very record, and for a record with equal fields.
  bool isEqual(const Object* object) const override;
  // By fields alone: a record made from nothing equals no record, not even itself. Null gives
  // false.
  bool isEqualToUser(const ORVAAccountUser* user) const;

  // The user who is signed in, null when nobody is. Never waits for storage.
  static std::shared_ptr<ORVAAccountUser> currentUser();
  // Makes `user` current (null: signs out), stores the change, and posts
  // ORVAAccountUserDidChangeNotification; every observer has run, on the calling thread, when it
  // returns, unless the host has an executor for observers (CallbackExecutor.h). The record that is
  // current already, and null when nobody is, change nothing (but null removes an item that the
  // sign-out before had to leave). What the store could not keep is kept
  // for this process; keychainStatus() says why. After std::bad_alloc the user is the one from
  // before, what is stored may be the new one already (or nobody), and the call can be made again.
  //
  // It waits for the disk, and for a change that another thread is storing. Where another process
  // holds a lock or the keyring is silent it waits up to 2 seconds for each call on a store, which
  // are at most four for a user and five for null; for 120 seconds only where the host has allowed
  // prompts and the keyring shows one.
  static void setCurrentUser(const std::shared_ptr<ORVAAccountUser>& user);
  // What stands for the class itself as the sender of the notification.
  static const std::shared_ptr<Object>& classObject();

  // Loads the picture, or answers from memory once it has been loaded; returns at once. Loads of
  // one record run one after the other, those of different records side by side. A status outside
  // 200 to 299 gives an error of kORVAAccountUserErrorDomain with the status as its code; picture
  // text that makes no URL gives NSURLErrorBadURL, a picture or headers longer than
  // URLSessionConfiguration allows NSURLErrorDataLengthExceedsMaximum. An empty block loads all the
  // same and reports to nobody. Where the system has no thread or memory for it, throws
  // std::system_error or std::bad_alloc, and the block is not called. Memory that runs out later
  // gives an error of NSPOSIXErrorDomain with the code ENOMEM.
  void loadProfileImageDataWithCompletionBlock(ORVAAccountProfileImageBlock completionBlock);
  // The picture in memory; absent until one was loaded. From any thread.
  std::optional<Data> profileImageData() const;

  ~ORVAAccountUser() override;

  // From here on: what the library itself calls to load and to store a record; not for hosts. The
  // properties may be read and set from any thread.

  static bool supportsSecureCoding();
  std::string_view archivedClassName() const override;
  void encodeWithCoder(Coder& coder) const override;
  // A record with the archived fields, and without a picture.
  static std::shared_ptr<ORVAAccountUser> initWithCoder(const Coder& coder);
  // Hands one outcome to the block; does nothing when there is none.
  void didLoadProfileImageData_error_completionBlock(
      const std::optional<Data>& imageData, const std::shared_ptr<Error>& error,
      const ORVAAccountProfileImageBlock& completionBlock) const;
  void setProfileImageData(std::optional<Data> profileImageData);
  // The request in flight; null when there is none.
  std::shared_ptr<URLSessionDataTask> loadProfileImageTask() const;
  void setLoadProfileImageTask(std::shared_ptr<URLSessionDataTask> loadProfileImageTask);
  // The record's own serial queue; never null in a record that nobody changed.
  std::shared_ptr<OperationQueue> userOperationQueue() const;
  void setUserOperationQueue(std::shared_ptr<OperationQueue> userOperationQueue);
  // The semaphore of the latest load; null before the first.
  std::shared_ptr<DispatchSemaphore> loadProfileImageSemaphore() const;
  void setLoadProfileImageSemaphore(std::shared_ptr<DispatchSemaphore> loadProfileImageSemaphore);

 private:
  struct State;
  explicit ORVAAccountUser(std::optional<Dictionary> userInfo);
  std::optional<std::string> field(std::string_view key) const;

  std::unique_ptr<State> state_;
};

}  // namespace orx
