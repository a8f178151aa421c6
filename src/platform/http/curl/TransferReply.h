#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace orx::platform {

// The reply to a request as its bytes come in. Of several (interim ones, those of redirects) it is
// the last.
class TransferReply {
 public:
  // What there was too much of, for the configuration or for the memory.
  enum class Excess { none, header, body, memory };
  // What comes after a line of the head; nothing at all once it was refused.
  enum class Next { head, body, redirectedReply, nothing };

  // A line with its end. `longest`: of all headers together, in bytes. `followsRedirects`: a
  // redirect is not the reply that is wanted.
  Next takeHeaderLine(std::string_view line, std::size_t longest, bool followsRedirects);
  // Makes room for a body of this length; below 0 it is unknown.
  void expectBody(std::int64_t length, std::size_t longest);
  bool bodyHasBegun() const { return !body_.empty(); }
  // False when nothing more is wanted.
  bool takeBody(std::string_view piece, std::size_t longest);
  void runOutOfMemory() { excess_ = Excess::memory; }
  // For another reply in its place. What was received all the same still counts.
  void forget();

  long statusCode() const { return statusCode_; }
  bool headIsComplete() const { return headIsComplete_; }
  // True after a reply that would be an interim one by its status, though none that is known.
  bool isUnassignedInterim() const { return isUnassignedInterim_; }
  Excess excess() const { return excess_; }

  std::string takeHead() { return std::move(head_); }
  std::vector<std::uint8_t> takeBody() { return std::move(body_); }

 private:
  void begin(std::string_view statusLine);
  Next endHead(bool followsRedirects);
  bool isRedirect() const;

  Excess excess_ = Excess::none;
  std::size_t headerSize_ = 0;
  long statusCode_ = 0;
  bool headIsComplete_ = false;
  bool isUnassignedInterim_ = false;
  std::string head_;  // the lines of the fields
  std::vector<std::uint8_t> body_;
};

}  // namespace orx::platform
