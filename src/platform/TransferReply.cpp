#include "platform/TransferReply.h"

#include <algorithm>
#include <charconv>

#include "platform/HeaderFields.h"

namespace orx {
namespace {

// Beyond this an announced length is not believed before the bytes come.
constexpr std::size_t largestReservation = std::size_t{1024} * 1024;

constexpr std::size_t usualHead = 512;

constexpr long firstFinalStatus = 200;
constexpr long lastKnownInterim = 103;

template <typename Number>
void readNumber(std::string_view text, Number& number) {
  std::from_chars(text.data(), text.data() + text.size(), number);
}

}  // namespace

TransferReply::Next TransferReply::takeHeaderLine(std::string_view line,
                                                  const URLSessionConfiguration& limits,
                                                  bool followsRedirects) {
  headerSize_ += line.size();
  if (headerSize_ > limits.maximumHeaderSize) {
    excess_ = Excess::header;
    return Next::nothing;
  }
  // What comes after the body's begin are trailers.
  if (headIsComplete_) return Next::body;
  if (trimmed(line).empty()) return endHead(limits, followsRedirects);
  if (line.starts_with("HTTP/")) {
    begin(line);
  } else {
    head_ += line;
  }
  return Next::head;
}

void TransferReply::begin(std::string_view statusLine) {
  forget();
  head_.reserve(usualHead);
  const auto blank = statusLine.find(' ');
  if (blank != std::string_view::npos) readNumber(statusLine.substr(blank + 1), statusCode_);
}

TransferReply::Next TransferReply::endHead(const URLSessionConfiguration& limits,
                                           bool followsRedirects) {
  if (statusCode_ < firstFinalStatus) {
    isUnassignedInterim_ = statusCode_ > lastKnownInterim;
    // An interim reply has no body: what announces one is the server's last word.
    const bool isLast = isUnassignedInterim_ && fieldOfHead(head_, "Content-Length");
    return isLast ? Next::nothing : Next::head;
  }
  if (followsRedirects && isRedirect()) return Next::redirectedReply;
  headIsComplete_ = true;
  reserveBody(limits);
  return Next::body;
}

bool TransferReply::isRedirect() const {
  return statusCode_ >= 300 && statusCode_ < 400 &&
         !fieldOfHead(head_, "Location").value_or("").empty();
}

void TransferReply::reserveBody(const URLSessionConfiguration& limits) {
  std::size_t length = 0;
  readNumber(fieldOfHead(head_, "Content-Length").value_or(""), length);
  body_.reserve(std::min({length, limits.maximumBodySize, largestReservation}));
}

bool TransferReply::takeBody(std::string_view piece, const URLSessionConfiguration& limits) {
  const std::size_t taken = std::min(piece.size(), limits.maximumBodySize - body_.size());
  const auto* bytes = reinterpret_cast<const std::uint8_t*>(piece.data());
  body_.insert(body_.end(), bytes, bytes + taken);
  if (taken == piece.size()) return true;
  excess_ = Excess::body;
  return false;
}

void TransferReply::forget() {
  statusCode_ = 0;
  headIsComplete_ = false;
  isUnassignedInterim_ = false;
  head_.clear();
  body_.clear();
}

}  // namespace orx
