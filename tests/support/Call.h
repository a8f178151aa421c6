#pragma once

#include <memory>
#include <string>

#include "platform/http/URLSession.h"
#include "support/Await.h"

namespace orx::testing {

using namespace platform;

// What a completion handler was given.
struct Outcome {
  std::optional<Data> data;
  std::shared_ptr<HTTPURLResponse> response;
  std::shared_ptr<Error> error;

  std::string text() const { return data ? std::string(data->text()) : "(absent)"; }
  long status() const { return response ? response->statusCode() : 0; }
  // 0 without an error of the transport.
  std::int64_t errorCode() const {
    return error && error->domain() == NSURLErrorDomain ? error->code() : 0;
  }
};
using Outcomes = Mailbox<Outcome>;

// A handler that puts what it is given into the mailbox.
inline URLSession::CompletionHandler into(const std::shared_ptr<Outcomes>& outcomes) {
  return [outcomes](const auto& data, const auto& response, const auto& error) {
    outcomes->put({data, response, error});
  };
}

inline URLRequest getRequest(const std::string& url) {
  return {*URL::URLWithString(url), "GET", {}, std::nullopt};
}

inline URLRequest postRequest(const std::string& url, std::string body) {
  return {*URL::URLWithString(url), "POST", sharedFields({{"Content-Type", "text/plain"}}),
          std::move(body)};
}

// Starts one call on a session and waits for its outcome.
inline Outcome call(URLSession& session, URLRequest request) {
  auto outcomes = std::make_shared<Outcomes>();
  session.dataTaskWithRequest_completionHandler(std::move(request), into(outcomes))->resume();
  return outcomes->take();
}

// The same on a session of its own.
inline Outcome call(const URLSessionConfiguration& configuration, URLRequest request) {
  return call(*URLSession::sessionWithConfiguration(configuration), std::move(request));
}

}  // namespace orx::testing
