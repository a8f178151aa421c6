#pragma once

#include <array>
#include <memory>
#include <string>

#include "platform/http/curl/TransferHeader.h"
#include "platform/http/curl/TransferOptions.h"

namespace orx::platform {

class Transfer;

// A libcurl handle, and what libcurl was told of that must stay in its place meanwhile. It is set
// up once and serves one transfer after the other.
struct TransferHandle {
  explicit TransferHandle(void* made) : easy(made) {}
  TransferHandle(const TransferHandle&) = delete;
  TransferHandle& operator=(const TransferHandle&) = delete;
  ~TransferHandle();

  // Where the next request goes: an absolute URL.
  void setURL(const std::string& text);
  // Lets libcurl forget all that it was told.
  void reset();

  void* const easy;                                // a CURL*
  std::shared_ptr<const TransferOptions> options;  // those that stand in it
  TransferHeader header;
  std::array<char, 256> errorText{};
  Transfer* transfer = nullptr;  // whom it serves

 private:
  std::string url_;            // as it stands in the handle
  void* parsedURL_ = nullptr;  // a CURLU*
};

}  // namespace orx::platform
