// SPDX-License-Identifier: MIT
#pragma once

#include <curl/curl.h>

#include <chrono>
#include <memory>
#include <optional>
#include <span>
#include <vector>

#include "platform/http/curl/EasyHandle.h"
#include "platform/http/curl/Transfer.h"

namespace orx::platform {

// libcurl's multi handle at work on all transfers. Connections, TLS sessions and the parsed
// certificate authorities are shared by all of them. Used by one thread at a time, wake() apart.
class MultiHandle {
 public:
  MultiHandle();
  MultiHandle(const MultiHandle&) = delete;
  MultiHandle& operator=(const MultiHandle&) = delete;

  // False when the system has no memory or descriptors for it. To be called before anything else,
  // and again after it has failed.
  bool open();
  // In the child of a fork: closes the parent's connections without a word to the peers. Nothing
  // may be called afterwards.
  void abandon();

  // Takes all jobs, which are transfers, out of the list. runOnce() starts a few of them at a time.
  void enqueue(JobList& transfers) { transfers.moveTo(queued_); }
  // Waits until a connection is ready, a time is over, or somebody wakes it up; not at all when
  // `isUrgent`.
  void wait(bool isUrgent);
  // For transfers that were submitted after wait() had looked.
  void forgetLook() { context_.poller.forgetLook(); }
  // Starts queued transfers, lets libcurl work on the connections that wait() found ready, and
  // reports the transfers that have ended.
  void runOnce();
  // From any thread.
  void wake() const { context_.poller.wake(); }

 private:
  using Clock = TransferContext::Clock;

  static int watchSocket(CURL* curl, curl_socket_t descriptor, int what, void* self,
                         void* unused) noexcept;
  static int setTimer(CURLM* multi, long milliseconds, void* self) noexcept;
  void startQueued();
  std::unique_ptr<EasyHandle> takeEasyHandle();
  bool isNeedless(const Transfer& transfer) const;
  std::chrono::seconds authoritiesLifetime() const;
  void start(std::unique_ptr<Transfer> transfer);
  void addToMulti(Transfer& transfer);
  void work(curl_socket_t descriptor, int bits);
  void dispatchReady();
  void endUnwatched();
  bool isAnyOverdue();
  void drainReady();
  void endOverdue();
  void collectFinished();
  void end(Transfer& transfer, CURLcode code);
  TransferOutcome outcomeOf(Transfer& transfer, CURLcode code) const;

  CURLSH* share_ = nullptr;
  CURLM* multi_ = nullptr;
  // When libcurl wants to be called though no connection is ready.
  std::optional<Clock::time_point> timer_;
  JobList queued_;
  std::vector<std::unique_ptr<Transfer>> running_;  // in no order
  // No running transfer's deadline is before this. Progress moves a deadline on and leaves this as
  // it is, so noting progress costs next to nothing.
  Clock::time_point firstDeadline_ = Clock::time_point::max();
  std::span<const epoll_event> ready_;
  bool someAreUnwatched_ = false;  // transfers whose socket the system does not watch
  std::optional<Clock::time_point> latestFailedHandshake_;
  // Made while there is memory.
  const std::shared_ptr<Error> outOfMemory_;

  TransferContext context_;
  // Kept set up for the next transfers, which mostly have the same configuration.
  std::vector<std::unique_ptr<EasyHandle>> idleHandles_;
};

}  // namespace orx::platform
