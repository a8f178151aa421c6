#include "platform/Transfer.h"

#include <curl/curl.h>

#include <algorithm>
#include <charconv>

#include "platform/HeaderFields.h"
#include "platform/Limits.h"
#include "platform/TransferBuffers.h"

namespace orx {
namespace {

static_assert(CURL_ERROR_SIZE <= 256);

// Beyond this an announced length is not believed before the bytes come.
constexpr std::size_t largestReservation = std::size_t{1024} * 1024;

constexpr std::size_t usualFields = 8;

// A body up to this size leaves together with the header, in one write; a longer one is read piece
// by piece, which shows that it moves.
constexpr std::size_t bodySentWithHeader = std::size_t{16} * 1024;

int openSocket(void* sockets, curlsocktype, curl_sockaddr* address) {
  return static_cast<ConnectionSockets*>(sockets)->open(address->family, address->socktype,
                                                        address->protocol);
}

int closeSocket(void* sockets, curl_socket_t descriptor) {
  static_cast<ConnectionSockets*>(sockets)->close(descriptor);
  return 0;
}

// Statuses below 200 that stand for no interim reply that is known.
bool isUnassignedInterim(long statusCode) { return statusCode > 103 && statusCode < 200; }

bool isFailureToConnect(int code) {
  return code == CURLE_COULDNT_RESOLVE_PROXY || code == CURLE_COULDNT_RESOLVE_HOST ||
         code == CURLE_COULDNT_CONNECT || code == CURLE_SSL_CONNECT_ERROR ||
         code == CURLE_PEER_FAILED_VERIFICATION;
}

long info(CURL* easy, CURLINFO which) {
  long value = 0;
  curl_easy_getinfo(easy, which, &value);
  return value;
}

}  // namespace

Transfer::Transfer(URLRequest request, std::shared_ptr<const URLSessionConfiguration> configuration,
                   Completion completion)
    : request_(std::move(request)),
      configuration_(std::move(configuration)),
      completion_(std::move(completion)),
      redirectsLeft_(limits::redirects) {}

void Transfer::begin(void* easy, std::shared_ptr<const TransferOptions> options,
                     TransferSurroundings& surroundings) {
  easy_ = easy;
  options_ = std::move(options);
  surroundings_ = &surroundings;
  receiveCallbacks();
  setRequest();
}

void Transfer::prepare(void* easy, TransferSurroundings& surroundings) {
  // The connection keeps these two for its whole life.
  curl_easy_setopt(easy, CURLOPT_OPENSOCKETFUNCTION, openSocket);
  curl_easy_setopt(easy, CURLOPT_OPENSOCKETDATA, &surroundings.sockets);
  curl_easy_setopt(easy, CURLOPT_CLOSESOCKETFUNCTION, closeSocket);
  curl_easy_setopt(easy, CURLOPT_CLOSESOCKETDATA, &surroundings.sockets);
  curl_easy_setopt(easy, CURLOPT_PREREQFUNCTION, &Transfer::aboutToSend);
  curl_easy_setopt(easy, CURLOPT_XFERINFOFUNCTION, &Transfer::goOn);
  curl_easy_setopt(easy, CURLOPT_HEADERFUNCTION, &Transfer::receiveHeader);
  curl_easy_setopt(easy, CURLOPT_WRITEFUNCTION, &Transfer::receiveBody);
}

void Transfer::receiveCallbacks() {
  curl_easy_setopt(easy_, CURLOPT_PRIVATE, this);
  curl_easy_setopt(easy_, CURLOPT_ERRORBUFFER, errorText_.data());
  curl_easy_setopt(easy_, CURLOPT_PREREQDATA, this);
  curl_easy_setopt(easy_, CURLOPT_NOPROGRESS, 1L);
  curl_easy_setopt(easy_, CURLOPT_XFERINFODATA, this);
  curl_easy_setopt(easy_, CURLOPT_HEADERDATA, this);
  curl_easy_setopt(easy_, CURLOPT_WRITEDATA, this);
}

void Transfer::setRequest() {
  curl_easy_setopt(easy_, CURLOPT_URL, url().c_str());
  curl_easy_setopt(easy_, CURLOPT_FRESH_CONNECT, 0L);
  curl_easy_setopt(easy_, CURLOPT_CUSTOMREQUEST, nullptr);
  curl_easy_setopt(easy_, CURLOPT_NOBODY, 0L);
  const bool isGET = request_.httpMethod == "GET";
  const bool isHEAD = request_.httpMethod == "HEAD";
  if (isGET) {
    curl_easy_setopt(easy_, CURLOPT_HTTPGET, 1L);
  } else if (isHEAD) {
    curl_easy_setopt(easy_, CURLOPT_NOBODY, 1L);
  } else {
    setBody();
  }
  // What carries a body is redirected here, where it is seen whether the body would go twice.
  curl_easy_setopt(easy_, CURLOPT_FOLLOWLOCATION, isGET || isHEAD ? 1L : 0L);
  curl_easy_setopt(easy_, CURLOPT_MAXREDIRS, redirectsLeft_);
  curl_easy_setopt(easy_, CURLOPT_HTTPHEADER, header_.listFor(request_));
}

void Transfer::setBody() {
  const std::size_t size = request_.httpBody ? request_.httpBody->size() : 0;
  bodySent_ = 0;
  if (request_.httpMethod != "POST") {
    curl_easy_setopt(easy_, CURLOPT_CUSTOMREQUEST, request_.httpMethod.c_str());
  }
  curl_easy_setopt(easy_, CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(size));
  curl_easy_setopt(easy_, CURLOPT_POSTFIELDS, nullptr);
  if (size <= bodySentWithHeader) {
    curl_easy_setopt(easy_, CURLOPT_POSTFIELDS, request_.httpBody ? request_.httpBody->data() : "");
    return;
  }
  curl_easy_setopt(easy_, CURLOPT_POST, 1L);
  curl_easy_setopt(easy_, CURLOPT_READFUNCTION, &Transfer::readBody);
  curl_easy_setopt(easy_, CURLOPT_READDATA, this);
  curl_easy_setopt(easy_, CURLOPT_SEEKFUNCTION, &Transfer::refuseToRewind);
  curl_easy_setopt(easy_, CURLOPT_SEEKDATA, this);
}

// ---- libcurl calls back: no exception may pass through it. ----

int Transfer::aboutToSend(void* self, char* peerAddress, char* localAddress, int peerPort,
                          int localPort) noexcept {
  const bool allowed =
      static_cast<Transfer*>(self)->mayBeSent({peerAddress, peerPort, localAddress, localPort});
  return allowed ? CURL_PREREQFUNC_OK : CURL_PREREQFUNC_ABORT;
}

bool Transfer::mayBeSent(const ConnectionSockets::Ends& connection) {
  noteProgress();
  // Redirects that libcurl follows are GETs, which may be repeated.
  if (info(easy_, CURLINFO_REDIRECT_COUNT) == 0) {
    // libcurl sends a request again when a kept connection dies without an answer. What has left
    // may have been acted upon.
    if (info(easy_, CURLINFO_REQUEST_SIZE) > 0) return false;
    const bool isNew = info(easy_, CURLINFO_NUM_CONNECTS) > 0;
    if (isNew) curl_easy_setopt(easy_, CURLOPT_NOPROGRESS, 0L);
    if (!isNew && surroundings_->sockets.peerHasClosed(connection)) {
      connectionWasDead_ = true;
      return false;
    }
  }
  stage_ = TransferStage::waiting;
  return true;
}

// Called after each step over a new connection. The server's session tickets, which come while the
// request is under way, leave the TLS library with a buffer of 16 KiB for an answer to them that
// there never is.
int Transfer::goOn(void* self, std::int64_t, std::int64_t, std::int64_t, std::int64_t) noexcept {
  const auto& transfer = *static_cast<Transfer*>(self);
  if (transfer.stage_ == TransferStage::waiting) releaseConnectionBuffers(transfer.easy_);
  return 0;
}

std::size_t Transfer::readBody(char* buffer, std::size_t size, std::size_t count,
                               void* self) noexcept {
  auto& transfer = *static_cast<Transfer*>(self);
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
                                    void* self) noexcept {
  auto& transfer = *static_cast<Transfer*>(self);
  const std::string_view line(bytes, size * count);
  return transfer.receive([&] { return transfer.takeHeaderLine(line); }) ? line.size() : 0;
}

std::size_t Transfer::receiveBody(char* bytes, std::size_t size, std::size_t count,
                                  void* self) noexcept {
  auto& transfer = *static_cast<Transfer*>(self);
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
    excess_ = Excess::memory;
    return false;
  }
}

bool Transfer::takeHeaderLine(std::string_view line) {
  headerSize_ += line.size();
  if (headerSize_ > configuration_->maximumHeaderSize) {
    excess_ = Excess::header;
    return false;
  }
  // What comes after the body's begin are trailers.
  if (stage_ == TransferStage::receiving) return true;
  if (line.starts_with("HTTP/")) {
    forgetReply();
    headerFields_.reserve(usualFields);
    const auto blank = line.find(' ');
    if (blank != std::string_view::npos) {
      std::from_chars(line.data() + blank + 1, line.data() + line.size(), statusCode_);
    }
  } else if (trimmed(line).empty()) {
    return takeEndOfHead();
  } else {
    addFieldLine(headerFields_, line);
  }
  return true;
}

bool Transfer::takeEndOfHead() {
  if (statusCode_ < 200) {
    endsWithUnassignedInterim_ = isUnassignedInterim(statusCode_);
    // An interim reply has no body: what announces one is the server's last word.
    return !endsWithUnassignedInterim_ || fieldValue(headerFields_, "Content-Length") == nullptr;
  }
  if (isFollowedRedirect()) {
    stage_ = TransferStage::connecting;
    return true;
  }
  headIsComplete_ = true;
  stage_ = TransferStage::receiving;
  if (const std::string* text = fieldValue(headerFields_, "Content-Length")) {
    std::size_t length = 0;
    std::from_chars(text->data(), text->data() + text->size(), length);
    body_.reserve(std::min({length, configuration_->maximumBodySize, largestReservation}));
  }
  return true;
}

// True when libcurl goes on to another place by itself.
bool Transfer::isFollowedRedirect() const {
  if (request_.httpMethod != "GET" && request_.httpMethod != "HEAD") return false;
  const std::string* target = fieldValue(headerFields_, "Location");
  return statusCode_ >= 300 && statusCode_ < 400 && target != nullptr && !target->empty();
}

bool Transfer::takeBody(std::string_view piece) {
  const std::size_t taken = std::min(piece.size(), configuration_->maximumBodySize - body_.size());
  const auto* bytes = reinterpret_cast<const std::uint8_t*>(piece.data());
  body_.insert(body_.end(), bytes, bytes + taken);
  if (taken == piece.size()) return true;
  excess_ = Excess::body;
  return false;
}

// ---- The end of a run of the handle. ----

void Transfer::forgetReply() {
  statusCode_ = 0;
  headIsComplete_ = false;
  endsWithUnassignedInterim_ = false;
  headerFields_.clear();
  body_.clear();
}

bool Transfer::continuesAfter(int code) {
  if (code == CURLE_ABORTED_BY_CALLBACK && connectionWasDead_) {
    // Not a byte has left: the same request on a new connection.
    connectionWasDead_ = false;
    curl_easy_setopt(easy_, CURLOPT_FRESH_CONNECT, 1L);
    return true;
  }
  const bool becomesGET = statusCode_ >= 301 && statusCode_ <= 303;
  if (code != CURLE_OK || request_.httpMethod != "POST" || !becomesGET) return false;
  char* target = nullptr;
  curl_easy_getinfo(easy_, CURLINFO_REDIRECT_URL, &target);
  if (target == nullptr) return false;
  goOnAsGET(target);
  return true;
}

void Transfer::goOnAsGET(std::string url) {
  redirectedTo_ = std::move(url);
  --redirectsLeft_;
  request_.httpMethod = "GET";
  request_.httpBody.reset();
  std::erase_if(request_.headerFields, [](const auto& field) {
    return equalsIgnoringCase(field.first, "Content-Type") ||
           equalsIgnoringCase(field.first, "Content-Length");
  });
  forgetReply();
  stage_ = TransferStage::connecting;
  setRequest();
}

void Transfer::finish(int code) {
  // libcurl waits for the final reply after any status below 200. When none can come any more, the
  // server meant the one that it sent.
  if (endsWithUnassignedInterim_ && excess_ == Excess::none && code != CURLE_OPERATION_TIMEDOUT) {
    headIsComplete_ = true;
    code = CURLE_OK;
  }
  TransferOutcome outcome;
  if (code != CURLE_OK) outcome.error = errorOf(code);
  if (headIsComplete_) {
    outcome.response =
        std::make_shared<HTTPURLResponse>(currentURL(), statusCode_, std::move(headerFields_));
    outcome.data = Data(std::move(body_));
  }
  if (!outcome.response && !outcome.error) outcome.error = errorOf(CURLE_WEIRD_SERVER_REPLY);
  completion_(std::move(outcome));
}

void Transfer::fail(std::shared_ptr<Error> error) {
  completion_(TransferOutcome::failure(std::move(error)));
}

std::string Transfer::currentURL() const {
  char* text = nullptr;
  if (info(easy_, CURLINFO_REDIRECT_COUNT) > 0) {
    curl_easy_getinfo(easy_, CURLINFO_EFFECTIVE_URL, &text);
  }
  return text != nullptr ? text : url();
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
  failure.url = currentURL();
  if (const auto url = URL::URLWithString(failure.url)) failure.host = url->host();
  failure.detail = errorText_.data();
  if (code == CURLE_COULDNT_CONNECT) {
    failure.systemError = static_cast<int>(info(easy_, CURLINFO_OS_ERRNO));
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
  switch (excess_) {
    case Excess::header:
      return tooLong("header", configuration_->maximumHeaderSize);
    case Excess::body:
      return tooLong("body", configuration_->maximumBodySize);
    case Excess::memory:
      return transportError(
          NSURLErrorDataLengthExceedsMaximum,
          "could not take the answer of " + failure.host + ": there is not enough memory for it",
          failure.url);
    case Excess::none:
      break;
  }
  return transportError(failure);
}

}  // namespace orx
