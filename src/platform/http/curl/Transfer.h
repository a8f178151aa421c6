// SPDX-License-Identifier: MIT
#pragma once

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <memory>
#include <optional>
#include <string>

#include "platform/http/Transport.h"
#include "platform/http/curl/EasyHandle.h"
#include "platform/http/curl/ReplyParser.h"
#include "platform/http/curl/TransferFailure.h"
#include "platform/queues/Job.h"

namespace orx::platform {

// What all transfers of a multi handle use together.
struct TransferContext {
  using Clock = std::chrono::steady_clock;

  // The time of this pass of the multi handle. Each step of a transfer notes it as progress, and
  // reading the clock at each step would cost more than the step.
  Clock::time_point now = Clock::now();
  // So many transfers run that their connections keep no buffers: 33 KiB for each would add up.
  bool isCrowded = false;
  EpollPoller poller;
  SocketRegistry sockets{poller};
};

// One request on its way over an easy handle, with its redirects. Once submitted it is used by the
// multi handle alone.
//
//   start() → [ libcurl works, and calls the Client's functions ] → continuesAfter()
//                 ↑                                       true ──────┘   └── false → finish()
//
// Then it is the job that tells the handler of the outcome: what an outcome needs at its end, which
// may find no memory, is there from the beginning.
class Transfer final : public Job, private EasyHandle::Client {
 public:
  // On the caller's thread: where the file of authorities lies on a file system that does not
  // answer, it waits here, and not with all other calls behind it.
  Transfer(URLRequest request, const URLSessionConfiguration& configuration,
           TransferHandler handler);
  // One that ends when the connection is there: nothing is sent, and nobody is told.
  static std::unique_ptr<Transfer> preparing(const URL& url,
                                             const URLSessionConfiguration& configuration);

  const URLSessionConfiguration& configuration() const { return configuration_; }
  // The configured file of authorities when the transfer was made; of nothing where there is none.
  const FileState& authorities() const { return authorities_; }
  CURL* curl() const { return easy_->curl(); }
  // The transfer that runs on an easy handle; null when there is none.
  static Transfer* of(CURL* curl) { return static_cast<Transfer*>(EasyHandle::clientOf(curl)); }

  // Takes an easy handle until takeEasyHandle(), and sets it up for this request. The time-out
  // counts from here. Like continuesAfter() and finish() it throws std::bad_alloc without memory.
  void start(std::unique_ptr<EasyHandle> easy, TransferContext& context);
  // When a time-out strikes: that of the whole call, or the one before, unless there is progress.
  TransferContext::Clock::time_point deadline() const {
    return std::min(latestEnd_, lastProgress_ + easy_->timeout());
  }
  // Asked when libcurl is done with the handle: true when it is to be run once more.
  bool continuesAfter(CURLcode code);
  // Ends the transfer; `code` is libcurl's for the whole. The handle is free for another one once
  // the multi handle no longer has it.
  TransferOutcome finish(CURLcode code);
  std::unique_ptr<EasyHandle> takeEasyHandle() noexcept;

  // Something that this transfer needs found no memory; finish() says so.
  void onUnopened(int systemError) noexcept override { openError_ = systemError; }
  void onNoMemory() noexcept override { ranOutOfMemory_ = true; }
  // The system does not watch its socket, for the reason that errno gave; finish() says so.
  void onUnwatched(int systemError) noexcept { systemError_ = systemError; }
  bool isUnwatched() const { return systemError_ != 0; }

  bool isPreparation() const { return isPreparation_; }
  // Whether both are for the same URL with the same configuration.
  bool goesTheSameWayAs(const Transfer& other) const;

  // Brings the outcome to the handler, on a worker. The transfer goes with it, so that what the
  // handler holds is destroyed there too: a destructor of the host's must not run in the midst of
  // libcurl's work. Needs no memory and throws nothing.
  static void report(std::unique_ptr<Transfer> transfer, TransferOutcome outcome);
  // What the worker does.
  void run() override;

  // The index in the multi handle's list of running transfers, which the multi handle keeps here.
  std::size_t place = 0;
  // Whether the multi handle watches a socket for it; likewise.
  bool isWatched = false;

 private:
  // What libcurl had done when it was last allowed to send.
  struct Sending {
    long redirects = 0;
    long bytes = 0;  // those of CONNECT to a proxy included
    long connections = 0;
  };

  void setRequest(bool needsFreshConnection);
  void continueOverAFreshConnection();
  void continueAsGET(std::string url);
  // Where redirects have led; absent when there were none.
  std::optional<std::string> effectiveURL() const;
  TransferFailure failureOf(CURLcode code) const;

  bool onPrerequest(const Endpoints& connection) override;
  void onProgress() noexcept override;
  std::size_t onReadBody(std::span<char> buffer) noexcept override;
  bool onHeaderLine(std::string_view line) noexcept override;
  bool onBody(std::string_view bytes) noexcept override;
  void noteProgress() { lastProgress_ = context_->now; }

  URLRequest request_;
  bool isPreparation_ = false;
  const URLSessionConfiguration configuration_;
  const FileState authorities_;
  const TransferHandler handler_;  // empty when nobody wants to know
  TransferOutcome outcome_;

  std::unique_ptr<EasyHandle> easy_;
  TransferContext* context_ = nullptr;
  const TransferContext::Clock::time_point latestEnd_;
  TransferContext::Clock::time_point lastProgress_;
  std::size_t bodySent_ = 0;
  std::optional<std::string> redirectedTo_;  // the hop that the handle was last set up for
  long redirectsLeft_;
  std::optional<Sending> sending_;
  bool connectionWasDead_ = false;
  bool wasRepeated_ = false;
  bool ranOutOfMemory_ = false;
  int systemError_ = 0;
  int openError_ = 0;  // of the latest socket that could not be had

  TransferStage stage_ = TransferStage::connecting;
  ReplyParser reply_;
};

}  // namespace orx::platform
