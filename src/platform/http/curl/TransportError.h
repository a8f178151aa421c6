#pragma once

#include <ORXAccount/platform/Error.h>

#include <cstdint>
#include <memory>
#include <string>

namespace orx::platform {

// How far a transfer had come.
enum class TransferStage { connecting, waiting, receiving };

// How a transfer failed, in libcurl's terms.
struct TransportFailure {
  int code = 0;  // a CURLcode
  TransferStage stage = TransferStage::connecting;
  int systemError = 0;  // errno of a failed connect, else 0
  std::string detail;   // libcurl's own words, may be empty
  std::string url;
  std::string host;
};

// The record of NSURLErrorDomain that stands for it; its description names the stage, the host and
// the cause.
std::shared_ptr<Error> transportError(const TransportFailure& failure);

// A record of NSURLErrorDomain for what libcurl was not asked about or cannot say.
std::shared_ptr<Error> transportError(std::int64_t code, std::string description,
                                      const std::string& url);

}  // namespace orx::platform
