// SPDX-License-Identifier: MIT
#pragma once

#include <memory>
#include <string>
#include <utility>

#include "platform/http/Transport.h"
#include "support/Await.h"

namespace orx::testing {

using namespace platform;

// What a handler was given.
struct Outcome : TransferOutcome {
  std::string text() const { return data ? std::string(data->text()) : "(absent)"; }
  // 0 without an error of the transport.
  std::int64_t errorCode() const {
    return error && error->domain() == NSURLErrorDomain ? error->code() : 0;
  }
};
using Outcomes = Mailbox<Outcome>;

// A handler that puts what it is given into the mailbox.
inline TransferHandler into(const std::shared_ptr<Outcomes>& outcomes) {
  return [outcomes](const TransferOutcome& outcome) { outcomes->put({outcome}); };
}

inline URLRequest getRequest(const std::string& url) { return {.url = *URL::URLWithString(url)}; }

inline URLRequest postRequest(const std::string& url, std::string body) {
  return {*URL::URLWithString(url), std::move(body), "text/plain"};
}

// Starts one transfer, as the account's operations start theirs.
inline void start(const URLSessionConfiguration& configuration, URLRequest request,
                  TransferHandler handler) {
  startTransfer(std::move(request), configuration, std::move(handler));
}

// Starts one transfer and waits for its outcome.
inline Outcome call(const URLSessionConfiguration& configuration, URLRequest request) {
  const auto outcomes = std::make_shared<Outcomes>();
  start(configuration, std::move(request), into(outcomes));
  return outcomes->take();
}

}  // namespace orx::testing
