// SPDX-License-Identifier: MIT
#include "platform/http/curl/Transfer.h"

#include <algorithm>
#include <exception>
#include <new>
#include <utility>

#include "platform/base/Limits.h"
#include "platform/process/Log.h"
#include "platform/queues/WorkerPool.h"

namespace orx::platform {
namespace {

// What libcurl reports when it could not make a connection at all.
bool isFailureToConnect(CURLcode code) {
  return code == CURLE_COULDNT_RESOLVE_PROXY || code == CURLE_COULDNT_RESOLVE_HOST ||
         code == CURLE_COULDNT_CONNECT || code == CURLE_SSL_CONNECT_ERROR ||
         code == CURLE_PEER_FAILED_VERIFICATION;
}

// A time that never comes. Beyond it the clock's arithmetic would overflow.
constexpr std::chrono::milliseconds longestCall = std::chrono::hours(100 * 365 * 24);

void tellLogHandlerOf(const Error& error) {
  if (!hasLogHandler()) return;
  try {
    tellLogHandler(LogLevel::Warning, error.localizedDescription());
  } catch (const std::bad_alloc&) {
    // The line is lost, and the call is reported.
  }
}

}  // namespace

Transfer::Transfer(URLRequest request, const URLSessionConfiguration& configuration,
                   TransferHandler handler)
    : request_(std::move(request)),
      configuration_(configuration),
      authorities_(configuration.caFile() ? FileState(*configuration.caFile()) : FileState()),
      handler_(std::move(handler)),
      latestEnd_(TransferContext::Clock::now() +
                 std::min(configuration_.timeoutIntervalForResource(), longestCall)),
      redirectsLeft_(limits::redirects),
      reply_(configuration_.maximumHeaderSize(), configuration_.maximumBodySize()) {}

std::unique_ptr<Transfer> Transfer::preparing(const URL& url,
                                              const URLSessionConfiguration& configuration) {
  auto transfer =
      std::make_unique<Transfer>(URLRequest{.url = url}, configuration, TransferHandler());
  transfer->isPreparation_ = true;
  return transfer;
}

bool Transfer::goesTheSameWayAs(const Transfer& other) const {
  return request_.url == other.request_.url && configuration_ == other.configuration_;
}

void Transfer::start(std::unique_ptr<EasyHandle> easy, TransferContext& context) {
  easy_ = std::move(easy);
  easy_->setClient(this);
  // The handle's last transfer may have left this on; it costs a call at each step.
  easy_->reportProgress(false);
  context_ = &context;
  setRequest(false);
}

void Transfer::setRequest(bool needsFreshConnection) {
  noteProgress();
  bodySent_ = 0;
  openError_ = 0;
  easy_->setRequest(request_, redirectedTo_ ? *redirectedTo_ : request_.url.absoluteString(),
                    redirectsLeft_, needsFreshConnection);
}

std::unique_ptr<EasyHandle> Transfer::takeEasyHandle() noexcept {
  easy_->setClient(nullptr);
  // libcurl counts over a handle's whole life how often it sent a request anew, and fails with the
  // sixth time. Set up anew, the handle begins at 0.
  if (wasRepeated_) easy_->forgetConfiguration();
  return std::move(easy_);
}

// ---- While libcurl works. ----

// The one place where a request is let out, so the one place that keeps it from going twice. It is
// called when a connection (new, or kept from an earlier transfer) is ready and before the first
// byte goes over it; once for each attempt, so also for each redirect that libcurl follows.
bool Transfer::onPrerequest(const Endpoints& connection) {
  noteProgress();
  const Sending now{.redirects = easy_->number(CURLINFO_REDIRECT_COUNT),
                    .bytes = easy_->number(CURLINFO_REQUEST_SIZE),
                    .connections = easy_->number(CURLINFO_NUM_CONNECTS)};
  const Sending before = sending_.value_or(Sending{});
  // libcurl sends a request again, by itself, when a kept connection dies without an answer. Once
  // bytes have left, the server may have acted upon them: no second time.
  const bool isRepeated = sending_ && now.redirects == before.redirects;
  if (isRepeated) wasRepeated_ = true;
  if (isRepeated && now.bytes > before.bytes) return false;
  // A connection made just now cannot have been closed by an idle server: only a kept one is
  // tested.
  const bool isNew = now.connections > before.connections;
  if (isNew || context_->isCrowded) easy_->reportProgress(true);
  if (!isNew && context_->sockets.isDead(connection)) {
    // A server ends a connection that was idle for long. Sent into it, the request would count as
    // lost though nobody read it, so it goes over a fresh connection instead.
    connectionWasDead_ = true;
    return false;
  }
  if (isPreparation_) {
    // The handle's last transfer may have forbidden it.
    easy_->keepConnection(true);
    easy_->endBeforeRequest(true);
    return true;
  }
  sending_ = now;
  // libcurl would keep a connection on which sending failed. The TLS library still holds what could
  // not be sent, and would send it in place of the next request.
  easy_->keepConnection(false);
  // A redirect that libcurl followed has left its own reply here.
  reply_.reset();
  stage_ = TransferStage::waiting;
  return true;
}

// Asked for over new connections, which many calls may make at once, and wherever many transfers
// run. Between the few connections of the others the buffers would only go back and forth.
void Transfer::onProgress() noexcept {
  const bool isReceiving = stage_ == TransferStage::receiving && context_->isCrowded;
  if (stage_ == TransferStage::waiting || isReceiving) easy_->releaseTLSBuffers();
}

std::size_t Transfer::onReadBody(std::span<char> buffer) noexcept {
  noteProgress();
  if (!request_.httpBody) return 0;
  const std::string_view rest = std::string_view(*request_.httpBody).substr(bodySent_);
  const std::size_t taken = rest.copy(buffer.data(), buffer.size());
  bodySent_ += taken;
  return taken;
}

bool Transfer::onHeaderLine(std::string_view line) noexcept {
  noteProgress();
  const ReplyParser::Next next = reply_.takeHeaderLine(line, !request_.httpBody);
  // libcurl goes wherever any 3xx says, so it is told to stay before it has read the place.
  if (reply_.isNoRedirect()) easy_->followRedirects(false);
  if (next == ReplyParser::Next::body) stage_ = TransferStage::receiving;
  if (next == ReplyParser::Next::redirectedReply) stage_ = TransferStage::connecting;
  if (reply_.endsWithConnection() && !easy_->watchForEnd()) {
    onNoMemory();
    return false;
  }
  // What fails from here on makes libcurl close the connection by itself.
  if (next == ReplyParser::Next::body || next == ReplyParser::Next::redirectedReply) {
    easy_->keepConnection(true);
  }
  return next != ReplyParser::Next::nothing;
}

// How long the body gets is the server's choice, so running out of memory for it ends this transfer
// and nothing else.
bool Transfer::onBody(std::string_view bytes) noexcept {
  noteProgress();
  try {
    return reply_.takeBody(bytes);
  } catch (const std::exception&) {
    onNoMemory();
    return false;
  }
}

// ---- When libcurl is done with the handle. ----

bool Transfer::continuesAfter(CURLcode code) {
  if (code == CURLE_ABORTED_BY_CALLBACK && connectionWasDead_) {
    continueOverAFreshConnection();
    return true;
  }
  // A POST is redirected here rather than by libcurl, which would send the body again after some
  // statuses. After these three it goes on as a GET; after any other the redirect is the reply.
  const bool becomesGET =
      request_.httpBody && reply_.statusCode() >= 301 && reply_.statusCode() <= 303;
  if (code != CURLE_OK || !becomesGET) return false;
  auto target = easy_->text(CURLINFO_REDIRECT_URL);
  if (!target) return false;
  continueAsGET(*std::move(target));
  return true;
}

// Not a byte has left for the place that the handle has come to, so it starts from there.
void Transfer::continueOverAFreshConnection() {
  connectionWasDead_ = false;
  // Read before the next run, in which libcurl counts its redirects from 0 again.
  redirectedTo_ = effectiveURL();
  redirectsLeft_ -= easy_->number(CURLINFO_REDIRECT_COUNT);
  sending_.reset();
  setRequest(true);
}

void Transfer::continueAsGET(std::string url) {
  redirectedTo_ = std::move(url);
  // Counted down over all hops, or a server could send a call round in a circle for ever.
  --redirectsLeft_;
  sending_.reset();
  request_.httpBody.reset();
  request_.contentType = {};
  reply_.reset();
  stage_ = TransferStage::connecting;
  setRequest(false);
}

TransferOutcome Transfer::finish(CURLcode code) {
  if (isPreparation_) {
    easy_->endBeforeRequest(false);
    return {};
  }
  // libcurl takes any end of the connection for the end of such a body, and anybody on the way can
  // bring that about.
  const bool isCutOff = !easy_->endWasAnnounced() || reply_.fallsShort();
  if (code == CURLE_OK && isCutOff) code = CURLE_PARTIAL_FILE;
  // libcurl waits for the final reply after any status below 200, and fails when none comes. Then
  // the server meant the one that it sent, which has no body.
  const bool isUnknown1xx = reply_.isUnknown1xx() && reply_.excess() == ReplyParser::Excess::none &&
                            code != CURLE_OPERATION_TIMEDOUT && !ranOutOfMemory_;
  // Of a body that memory ran out for, an operation would say that the service wrote it so.
  const bool isCutHere = ranOutOfMemory_ || code == CURLE_OUT_OF_MEMORY;
  const bool hasReply = isUnknown1xx || (reply_.headIsComplete() && !isCutHere);
  TransferOutcome outcome;
  if (hasReply) {
    outcome.statusCode = reply_.statusCode();
    outcome.data = Data(reply_.takeBody());
  }
  // With a reply and an error the caller gets both: what arrived before a connection broke off is
  // still of use to operations that read a body so far.
  if ((code != CURLE_OK || ranOutOfMemory_) && !isUnknown1xx) {
    outcome.error = transportError(failureOf(code));
  } else if (!hasReply) {
    // libcurl saw no failure, and yet no head came to its end. Without this error the handler would
    // get nothing at all.
    outcome.error = transportError(failureOf(CURLE_WEIRD_SERVER_REPLY));
  }
  return outcome;
}

void Transfer::report(std::unique_ptr<Transfer> transfer, TransferOutcome outcome) {
  if (!transfer->handler_) return;
  // A password may be in it, and is gone when the handler is called.
  transfer->request_.httpBody.reset();
  // One that could not start still has its handle, and what is libcurl's stays off the workers.
  transfer->easy_.reset();
  transfer->outcome_ = std::move(outcome);
  WorkerPool::shared().submit(std::move(transfer));
}

void Transfer::run() {
  if (outcome_.error) tellLogHandlerOf(*outcome_.error);
  handler_(outcome_);
}

// ---- What went wrong. ----

std::optional<std::string> Transfer::effectiveURL() const {
  if (easy_->number(CURLINFO_REDIRECT_COUNT) == 0) return redirectedTo_;
  return easy_->text(CURLINFO_EFFECTIVE_URL);
}

TransferFailure Transfer::failureOf(CURLcode code) const {
  TransferFailure failure;
  failure.code = code;
  failure.stage = stage_;
  const auto redirected = effectiveURL();
  failure.url = redirected.value_or(request_.url.absoluteString());
  failure.isRedirected = redirected.has_value();
  failure.detail = easy_->errorText();
  failure.isOverdueAsAWhole = latestEnd_ <= context_->now;
  // On a kept connection the handshake is long over, but libcurl does not say so.
  if (stage_ == TransferStage::connecting) failure.proxy = easy_->failedProxy(code);
  if (code == CURLE_COULDNT_CONNECT) {
    failure.systemError =
        openError_ != 0 ? openError_ : static_cast<int>(easy_->number(CURLINFO_OS_ERRNO));
  }
  const auto tooLong = [&failure](const char* part, std::size_t limit) {
    failure.code = CURLE_FILESIZE_EXCEEDED;
    failure.detail =
        "its " + std::string(part) + " is longer than " + std::to_string(limit) + " bytes";
  };
  if (reply_.excess() == ReplyParser::Excess::header) {
    tooLong("header", configuration_.maximumHeaderSize());
  } else if (reply_.excess() == ReplyParser::Excess::body) {
    tooLong("body", configuration_.maximumBodySize());
  } else if (ranOutOfMemory_) {
    failure.code = CURLE_OUT_OF_MEMORY;
    failure.detail = "there is not enough memory";
  } else if (systemError_ != 0) {
    failure.systemError = systemError_;
  } else if (stage_ == TransferStage::waiting && isFailureToConnect(code)) {
    // The request has left, so the connection that cannot be made is one that libcurl wanted in
    // order to send it again. To the caller the first connection was lost.
    failure.code = CURLE_SEND_FAIL_REWIND;
  } else if (code == CURLE_WEIRD_SERVER_REPLY && failure.detail.empty()) {
    // libcurl says nothing more only where the head breaks off.
    failure.code = CURLE_PARTIAL_FILE;
    failure.detail = "the connection ended within the head of the answer";
  } else if (wasRepeated_ && code == CURLE_SEND_ERROR) {
    // libcurl only says how often it has tried, which is no help to the caller.
    const bool hasLeft = easy_->number(CURLINFO_REQUEST_SIZE) > sending_.value_or(Sending{}).bytes;
    if (hasLeft) failure.code = CURLE_SEND_FAIL_REWIND;
    failure.detail = "each connection was lost before the request could leave";
  }
  return failure;
}

}  // namespace orx::platform
