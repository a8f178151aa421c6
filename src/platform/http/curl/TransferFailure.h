// SPDX-License-Identifier: MIT
#pragma once

#include <ORXAccount/platform/Error.h>
#include <curl/curl.h>

#include <memory>
#include <optional>
#include <string>

namespace orx::platform {

// How far a transfer had come.
enum class TransferStage { connecting, waiting, receiving };

// How a transfer failed, in libcurl's terms.
struct TransferFailure {
  CURLcode code = CURLE_OK;
  TransferStage stage = TransferStage::connecting;
  int systemError = 0;             // errno of what the system refused, else 0
  std::string detail;              // libcurl's own words, may be empty
  bool isOverdueAsAWhole = false;  // where it timed out: for all its progress
  std::string url;
  bool isRedirected = false;  // the service has named that URL
  // The host of the proxy that failed, where it was not the server.
  std::optional<std::string> proxy{};
};

// The record of NSURLErrorDomain that stands for it; its description names the stage, the host and
// the cause. Of a URL that the service has named it holds the host alone, for a ticket may stand in
// the path too.
std::shared_ptr<Error> transportError(const TransferFailure& failure);

}  // namespace orx::platform
