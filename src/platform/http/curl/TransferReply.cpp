#include "platform/http/curl/TransferReply.h"

#include <algorithm>
#include <charconv>

#include "platform/http/HeaderFields.h"

namespace orx::platform {
namespace {

// Beyond this an announced length is not believed before the bytes come.
constexpr std::size_t largestReservation = std::size_t{1024} * 1024;

constexpr std::size_t usualHead = 512;

constexpr long firstFinalStatus = 200;
constexpr long lastKnownInterim = 103;

}  // namespace

TransferReply::Next TransferReply::takeHeaderLine(std::string_view line, std::size_t longest,
                                                  bool followsRedirects) {
  headerSize_ += line.size();
  if (headerSize_ > longest) {
    excess_ = Excess::header;
    return Next::nothing;
  }
  // What comes after the body's begin are trailers.
  if (headIsComplete_) return Next::body;
  if (line.find_first_not_of(" \t\r\n") == std::string_view::npos) return endHead(followsRedirects);
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
  if (blank == std::string_view::npos) return;
  std::from_chars(statusLine.data() + blank + 1, statusLine.data() + statusLine.size(),
                  statusCode_);
}

TransferReply::Next TransferReply::endHead(bool followsRedirects) {
  if (statusCode_ < firstFinalStatus) {
    isUnassignedInterim_ = statusCode_ > lastKnownInterim;
    // An interim reply has no body: what announces one is the server's last word.
    const bool isLast = isUnassignedInterim_ && fieldOfHead(head_, "Content-Length");
    return isLast ? Next::nothing : Next::head;
  }
  if (followsRedirects && isRedirect()) return Next::redirectedReply;
  headIsComplete_ = true;
  return Next::body;
}

bool TransferReply::isRedirect() const {
  return statusCode_ >= 300 && statusCode_ < 400 &&
         !fieldOfHead(head_, "Location").value_or("").empty();
}

void TransferReply::expectBody(std::int64_t length, std::size_t longest) {
  if (length < 0) return;
  const auto announced = static_cast<std::size_t>(length);
  body_.reserve(std::min({announced, longest, largestReservation}));
}

bool TransferReply::takeBody(std::string_view piece, std::size_t longest) {
  const std::size_t taken = std::min(piece.size(), longest - body_.size());
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

}  // namespace orx::platform
