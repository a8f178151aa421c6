#include "platform/http/curl/Transfer.h"

#include <curl/curl.h>

#include <algorithm>
#include <exception>
#include <utility>

#include "platform/base/Limits.h"
#include "platform/http/HeaderFields.h"
#include "platform/http/curl/TransferBuffers.h"
#include "platform/queues/WorkerPool.h"

namespace orx::platform {
namespace {

// A body up to this size leaves together with the header, in one write; a longer one is read piece
// by piece, which shows that it moves.
constexpr std::size_t bodySentWithHeader = std::size_t{16} * 1024;

int openSocket(void* sockets, curlsocktype, curl_sockaddr* address) noexcept {
  return static_cast<ConnectionSockets*>(sockets)->open(address->family, address->socktype,
                                                        address->protocol);
}

int closeSocket(void* sockets, curl_socket_t descriptor) noexcept {
  static_cast<ConnectionSockets*>(sockets)->close(descriptor);
  return 0;
}

bool isFailureToConnect(int code) {
  return code == CURLE_COULDNT_RESOLVE_PROXY || code == CURLE_COULDNT_RESOLVE_HOST ||
         code == CURLE_COULDNT_CONNECT || code == CURLE_SSL_CONNECT_ERROR ||
         code == CURLE_PEER_FAILED_VERIFICATION;
}

std::shared_ptr<const HeaderFields> withoutThoseOfABody(
    const std::shared_ptr<const HeaderFields>& fields) {
  if (!fields) return nullptr;
  HeaderFields left = *fields;
  std::erase_if(left, [](const auto& field) {
    return equalsIgnoringCase(field.first, "Content-Type") ||
           equalsIgnoringCase(field.first, "Content-Length");
  });
  return sharedFields(std::move(left));
}

long info(CURL* easy, CURLINFO which) {
  long value = 0;
  curl_easy_getinfo(easy, which, &value);
  return value;
}

}  // namespace

Transfer::Transfer(URLRequest request, std::shared_ptr<const URLSessionConfiguration> configuration,
                   Receiver receiver)
    : request_(std::move(request)),
      configuration_(std::move(configuration)),
      receiver_(std::move(receiver)),
      redirectsLeft_(limits::redirects) {}

// ---- The handle, set up for any transfer and for this one. ----

void Transfer::prepare(TransferHandle& handle, TransferSurroundings& surroundings) {
  void* easy = handle.easy;
  // The connection keeps these two for its whole life.
  curl_easy_setopt(easy, CURLOPT_OPENSOCKETFUNCTION, openSocket);
  curl_easy_setopt(easy, CURLOPT_OPENSOCKETDATA, &surroundings.sockets);
  curl_easy_setopt(easy, CURLOPT_CLOSESOCKETFUNCTION, closeSocket);
  curl_easy_setopt(easy, CURLOPT_CLOSESOCKETDATA, &surroundings.sockets);

  curl_easy_setopt(easy, CURLOPT_PRIVATE, &handle);
  curl_easy_setopt(easy, CURLOPT_ERRORBUFFER, handle.errorText.data());
  curl_easy_setopt(easy, CURLOPT_PREREQFUNCTION, &Transfer::aboutToSend);
  curl_easy_setopt(easy, CURLOPT_PREREQDATA, &handle);
  curl_easy_setopt(easy, CURLOPT_XFERINFOFUNCTION, &Transfer::goOn);
  curl_easy_setopt(easy, CURLOPT_XFERINFODATA, &handle);
  curl_easy_setopt(easy, CURLOPT_HEADERFUNCTION, &Transfer::receiveHeader);
  curl_easy_setopt(easy, CURLOPT_HEADERDATA, &handle);
  curl_easy_setopt(easy, CURLOPT_WRITEFUNCTION, &Transfer::receiveBody);
  curl_easy_setopt(easy, CURLOPT_WRITEDATA, &handle);
  curl_easy_setopt(easy, CURLOPT_SEEKFUNCTION, &Transfer::refuseToRewind);
}

void Transfer::begin(std::unique_ptr<TransferHandle> handle, TransferSurroundings& surroundings) {
  handle_ = std::move(handle);
  handle_->transfer = this;
  handle_->errorText.front() = '\0';
  surroundings_ = &surroundings;
  curl_easy_setopt(easy(), CURLOPT_NOPROGRESS, 1L);
  setRequest();
}

Transfer* Transfer::servedBy(void* easy) {
  TransferHandle* handle = nullptr;
  curl_easy_getinfo(easy, CURLINFO_PRIVATE, &handle);
  return handle->transfer;
}

std::unique_ptr<TransferHandle> Transfer::giveHandleBack() {
  // Not to lie in memory while the report waits.
  request_.httpBody.reset();
  handle_->transfer = nullptr;
  return std::move(handle_);
}

void Transfer::setRequest() {
  handle_->setURL(redirectedTo_ ? *redirectedTo_ : request_.url.absoluteString());
  curl_easy_setopt(easy(), CURLOPT_FRESH_CONNECT, 0L);
  curl_easy_setopt(easy(), CURLOPT_CUSTOMREQUEST, nullptr);
  curl_easy_setopt(easy(), CURLOPT_NOBODY, 0L);
  const bool isGET = request_.httpMethod == "GET";
  const bool isHEAD = request_.httpMethod == "HEAD";
  if (isGET) {
    curl_easy_setopt(easy(), CURLOPT_HTTPGET, 1L);
  } else if (isHEAD) {
    curl_easy_setopt(easy(), CURLOPT_NOBODY, 1L);
  } else {
    setBody();
  }
  // What carries a body is redirected here, where it is seen whether the body would go twice.
  libcurlFollows_ = isGET || isHEAD;
  curl_easy_setopt(easy(), CURLOPT_FOLLOWLOCATION, libcurlFollows_ ? 1L : 0L);
  curl_easy_setopt(easy(), CURLOPT_MAXREDIRS, redirectsLeft_);
  curl_easy_setopt(easy(), CURLOPT_HTTPHEADER, handle_->header.listFor(request_));
}

void Transfer::setBody() {
  const std::size_t size = request_.httpBody ? request_.httpBody->size() : 0;
  bodySent_ = 0;
  if (request_.httpMethod != "POST") {
    curl_easy_setopt(easy(), CURLOPT_CUSTOMREQUEST, request_.httpMethod.c_str());
  }
  curl_easy_setopt(easy(), CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(size));
  curl_easy_setopt(easy(), CURLOPT_POSTFIELDS, nullptr);
  if (size <= bodySentWithHeader) {
    curl_easy_setopt(easy(), CURLOPT_POSTFIELDS,
                     request_.httpBody ? request_.httpBody->data() : "");
    return;
  }
  curl_easy_setopt(easy(), CURLOPT_POST, 1L);
  curl_easy_setopt(easy(), CURLOPT_READFUNCTION, &Transfer::readBody);
  curl_easy_setopt(easy(), CURLOPT_READDATA, handle_.get());
}

// ---- libcurl calls back: no exception may pass through it. ----

Transfer& Transfer::of(void* handle) { return *static_cast<TransferHandle*>(handle)->transfer; }

int Transfer::aboutToSend(void* handle, char* peerAddress, char* localAddress, int peerPort,
                          int localPort) noexcept {
  try {
    const bool allowed = of(handle).mayBeSent({.localPort = localPort,
                                               .peerPort = peerPort,
                                               .localAddress = localAddress,
                                               .peerAddress = peerAddress});
    return allowed ? CURL_PREREQFUNC_OK : CURL_PREREQFUNC_ABORT;
  } catch (const std::exception&) {
    return CURL_PREREQFUNC_ABORT;
  }
}

bool Transfer::mayBeSent(const ConnectionSockets::Ends& connection) {
  noteProgress();
  const Sending now{.redirects = info(easy(), CURLINFO_REDIRECT_COUNT),
                    .bytes = info(easy(), CURLINFO_REQUEST_SIZE),
                    .connections = info(easy(), CURLINFO_NUM_CONNECTS)};
  const auto before = sending_.value_or(Sending{});
  // libcurl sends a request again when a kept connection dies without an answer. What has left may
  // have been acted upon.
  const bool isRepeated = sending_ && now.redirects == before.redirects;
  if (isRepeated && now.bytes > before.bytes) return false;
  const bool isNew = now.connections > before.connections;
  if (isNew) curl_easy_setopt(easy(), CURLOPT_NOPROGRESS, 0L);
  if (!isNew && surroundings_->sockets.peerHasClosed(connection)) {
    connectionWasDead_ = true;
    return false;
  }
  sending_ = now;
  reply_.forget();
  stage_ = TransferStage::waiting;
  return true;
}

// Called after each step over a new connection. The server's session tickets, which come while the
// request is under way, leave the TLS library with a buffer of 16 KiB for an answer to them that
// there never is.
int Transfer::goOn(void* handle, std::int64_t, std::int64_t, std::int64_t, std::int64_t) noexcept {
  const Transfer& transfer = of(handle);
  if (transfer.stage_ == TransferStage::waiting) releaseConnectionBuffers(transfer.easy());
  return 0;
}

std::size_t Transfer::readBody(char* buffer, std::size_t size, std::size_t count,
                               void* handle) noexcept {
  Transfer& transfer = of(handle);
  transfer.noteProgress();
  if (!transfer.request_.httpBody) return 0;
  const std::string& body = *transfer.request_.httpBody;
  const std::size_t taken = std::min(size * count, body.size() - transfer.bodySent_);
  std::copy_n(body.data() + transfer.bodySent_, taken, buffer);
  transfer.bodySent_ += taken;
  return taken;
}

int Transfer::refuseToRewind(void*, std::int64_t, int) noexcept { return CURL_SEEKFUNC_FAIL; }

std::size_t Transfer::receiveHeader(char* bytes, std::size_t size, std::size_t count,
                                    void* handle) noexcept {
  Transfer& transfer = of(handle);
  const std::string_view line(bytes, size * count);
  return transfer.receive([&] { return transfer.takeHeaderLine(line); }) ? line.size() : 0;
}

std::size_t Transfer::receiveBody(char* bytes, std::size_t size, std::size_t count,
                                  void* handle) noexcept {
  Transfer& transfer = of(handle);
  const std::string_view piece(bytes, size * count);
  return transfer.receive([&] { return transfer.takeBody(piece); }) ? piece.size() : 0;
}

// What the answer needs of memory is the server's choice, so running out of it ends the transfer.
template <typename Take>
bool Transfer::receive(const Take& take) noexcept {
  noteProgress();
  try {
    return take();
  } catch (const std::exception&) {
    reply_.runOutOfMemory();
    return false;
  }
}

bool Transfer::takeBody(std::string_view piece) {
  if (!reply_.bodyHasBegun()) {
    curl_off_t length = -1;
    curl_easy_getinfo(easy(), CURLINFO_CONTENT_LENGTH_DOWNLOAD_T, &length);
    reply_.expectBody(length, configuration_->maximumBodySize);
  }
  return reply_.takeBody(piece, configuration_->maximumBodySize);
}

bool Transfer::takeHeaderLine(std::string_view line) {
  switch (reply_.takeHeaderLine(line, configuration_->maximumHeaderSize, libcurlFollows_)) {
    case TransferReply::Next::head:
      return true;
    case TransferReply::Next::body:
      stage_ = TransferStage::receiving;
      return true;
    case TransferReply::Next::redirectedReply:
      stage_ = TransferStage::connecting;
      return true;
    case TransferReply::Next::nothing:
      return false;
  }
  return false;
}

// ---- The end of a run of the handle. ----

bool Transfer::continuesAfter(int code) {
  if (code == CURLE_ABORTED_BY_CALLBACK && connectionWasDead_) {
    goOnOverANewConnection();
    return true;
  }
  const bool becomesGET = reply_.statusCode() >= 301 && reply_.statusCode() <= 303;
  if (code != CURLE_OK || request_.httpMethod != "POST" || !becomesGET) return false;
  char* target = nullptr;
  curl_easy_getinfo(easy(), CURLINFO_REDIRECT_URL, &target);
  if (target == nullptr) return false;
  goOnAsGET(target);
  return true;
}

// Not a byte has left for where the handle has come to.
void Transfer::goOnOverANewConnection() {
  connectionWasDead_ = false;
  redirectedTo_ = landingPlace();
  redirectsLeft_ -= info(easy(), CURLINFO_REDIRECT_COUNT);
  sending_.reset();
  setRequest();
  curl_easy_setopt(easy(), CURLOPT_FRESH_CONNECT, 1L);
}

void Transfer::goOnAsGET(std::string url) {
  redirectedTo_ = std::move(url);
  --redirectsLeft_;
  sending_.reset();
  request_.httpMethod = "GET";
  request_.httpBody.reset();
  request_.headerFields = withoutThoseOfABody(request_.headerFields);
  reply_.forget();
  stage_ = TransferStage::connecting;
  setRequest();
}

void Transfer::finish(int code) {
  // libcurl waits for the final reply after any status below 200. When none can come any more, the
  // server meant the one that it sent.
  const bool isComplete = reply_.isUnassignedInterim() &&
                          reply_.excess() == TransferReply::Excess::none &&
                          code != CURLE_OPERATION_TIMEDOUT;
  if (isComplete) code = CURLE_OK;
  if (code != CURLE_OK) outcome_.error = errorOf(code);
  if (isComplete || reply_.headIsComplete()) {
    outcome_.response = std::make_shared<HTTPURLResponse>(request_.url, landingPlace(),
                                                          reply_.statusCode(), reply_.takeHead());
    outcome_.data = Data(reply_.takeBody());
  }
  if (!outcome_.response && !outcome_.error) outcome_.error = errorOf(CURLE_WEIRD_SERVER_REPLY);
}

void Transfer::report(std::unique_ptr<Transfer> transfer) {
  const auto queue = std::exchange(transfer->receiver_.queue, nullptr);
  if (!queue) return WorkerPool::shared().submit(std::move(transfer));
  queue->addOperationWithBlock(
      [shared = std::shared_ptr<Transfer>(std::move(transfer))] { shared->run(); });
}

void Transfer::fail(std::unique_ptr<Transfer> transfer, std::shared_ptr<Error> error) {
  transfer->outcome_.error = std::move(error);
  report(std::move(transfer));
}

void Transfer::run() {
  const auto& [data, response, error] = outcome_;
  if (receiver_.handler) receiver_.handler(data, response, error);
}

std::optional<std::string> Transfer::landingPlace() const {
  char* text = nullptr;
  if (info(easy(), CURLINFO_REDIRECT_COUNT) > 0) {
    curl_easy_getinfo(easy(), CURLINFO_EFFECTIVE_URL, &text);
  }
  return text != nullptr ? std::optional<std::string>(text) : redirectedTo_;
}

TransportFailure Transfer::failureOf(int code) const {
  TransportFailure failure;
  failure.code = code;
  // Once the request has left, a connection that cannot be made is the one that libcurl wanted to
  // send it over again.
  if (stage_ == TransferStage::waiting && isFailureToConnect(code)) {
    failure.code = CURLE_SEND_FAIL_REWIND;
  }
  failure.stage = stage_;
  failure.url = landingPlace().value_or(request_.url.absoluteString());
  if (const auto url = URL::URLWithString(failure.url)) failure.host = url->host();
  failure.detail = handle_->errorText.data();
  if (code == CURLE_COULDNT_CONNECT) {
    failure.systemError = static_cast<int>(info(easy(), CURLINFO_OS_ERRNO));
  }
  return failure;
}

std::shared_ptr<Error> Transfer::errorOf(int code) const {
  const TransportFailure failure = failureOf(code);
  const auto tooLong = [&](std::string_view part, std::size_t limit) {
    return transportError(NSURLErrorDataLengthExceedsMaximum,
                          "could not take the answer of " + failure.host + ": its " +
                              std::string(part) + " is longer than " + std::to_string(limit) +
                              " bytes",
                          failure.url);
  };
  switch (reply_.excess()) {
    case TransferReply::Excess::header:
      return tooLong("header", configuration_->maximumHeaderSize);
    case TransferReply::Excess::body:
      return tooLong("body", configuration_->maximumBodySize);
    case TransferReply::Excess::memory:
      return transportError(
          NSURLErrorDataLengthExceedsMaximum,
          "could not take the answer of " + failure.host + ": there is not enough memory for it",
          failure.url);
    case TransferReply::Excess::none:
      break;
  }
  return transportError(failure);
}

}  // namespace orx::platform
