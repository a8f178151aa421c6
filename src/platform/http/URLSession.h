#pragma once

#include <ORXAccount/platform/Data.h>
#include <ORXAccount/platform/Error.h>
#include <ORXAccount/platform/Object.h>
#include <ORXAccount/platform/URL.h>
#include <ORXAccount/platform/URLSessionConfiguration.h>

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>

#include "platform/http/HeaderFields.h"

namespace orx::platform {

// One request as it is to be sent. Only what HTTP itself needs is added to the headers.
struct URLRequest {
  URL url;
  std::string httpMethod = "GET";
  std::shared_ptr<const HeaderFields> headerFields;  // absent: none
  std::optional<std::string> httpBody;
};

// The head of a reply, of the last one when redirects were followed.
class HTTPURLResponse final : public Object {
 public:
  // `landingPlace`: where redirects have led, if there were any. `head`: the lines of the fields.
  HTTPURLResponse(const URL& requested, std::optional<std::string> landingPlace, long statusCode,
                  std::string head)
      : requested_(requested),
        landingPlace_(std::move(landingPlace)),
        statusCode_(statusCode),
        head_(std::move(head)) {}

  const std::string& url() const {
    return landingPlace_ ? *landingPlace_ : requested_.absoluteString();
  }
  long statusCode() const { return statusCode_; }
  // Read from the head at each call.
  HeaderFields headerFields() const;

 private:
  URL requested_;
  std::optional<std::string> landingPlace_;
  long statusCode_;
  std::string head_;
};

class URLSession;

}  // namespace orx::platform

namespace orx {

// A transfer. It fails only when no complete reply came: an HTTP 500 is a reply.
class URLSessionDataTask final : public Object {
 public:
  // Starts the transfer and returns at once; a second call does nothing. A task that is dropped
  // without having been started reports nothing.
  void resume();

  ~URLSessionDataTask() override;

 private:
  friend class platform::URLSession;
  struct State;
  explicit URLSessionDataTask(std::shared_ptr<State> state);
  std::shared_ptr<State> state_;
};

}  // namespace orx

namespace orx::platform {

// A view on the process's one transfer engine with a delegate queue of its own. Dropping a session
// or a task ends nothing: started transfers go on and report.
class URLSession final : public Object {
 public:
  // Called once for each started task, on the session's serial queue (tasks of the shared session:
  // each on a queue of its own), never inside resume(). A complete reply gives data and response; a
  // transfer that broke in the body gives all three, data holding the bytes so far; any other
  // failure gives the error alone. Must not throw.
  using CompletionHandler = std::function<void(const std::optional<Data>& data,
                                               const std::shared_ptr<HTTPURLResponse>& response,
                                               const std::shared_ptr<Error>& error)>;

  static std::shared_ptr<URLSession> sessionWithConfiguration(
      URLSessionConfiguration configuration);
  static std::shared_ptr<URLSession> sessionWithConfiguration(
      std::shared_ptr<const URLSessionConfiguration> configuration);
  // Never destroyed; its tasks take the default configuration of the moment they are made.
  static const std::shared_ptr<URLSession>& sharedSession();

  std::shared_ptr<URLSessionDataTask> dataTaskWithRequest_completionHandler(
      URLRequest request, CompletionHandler completionHandler);
  // A GET. An absent URL makes a task that reports NSURLErrorBadURL without any request.
  std::shared_ptr<URLSessionDataTask> dataTaskWithURL_completionHandler(
      const std::optional<URL>& url, CompletionHandler completionHandler);

  // Starts a transfer as the only task of a session of its own; the configuration must not be null.
  // Nobody else can reach the two, so neither is made, nor a queue: the handler is called on any
  // worker.
  static void startOnlyTask(URLRequest request,
                            std::shared_ptr<const URLSessionConfiguration> configuration,
                            CompletionHandler completionHandler);

  ~URLSession() override;

 private:
  struct State;
  explicit URLSession(std::shared_ptr<State> state);
  std::shared_ptr<State> state_;
};

}  // namespace orx::platform
