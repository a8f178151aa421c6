// SPDX-License-Identifier: MIT
#pragma once

#include <ORXAccount/ORVAAccountAPI.h>
#include <gtest/gtest.h>

#include <functional>
#include <mutex>
#include <string>
#include <vector>

#include "support/Await.h"
#include "support/TLSTestServer.h"

namespace orx::testing {

// The hosts that the library was built with.
inline constexpr const char* kGlobalHost = ORX_TEST_GLOBAL_HOST;
inline constexpr const char* kChinaHost = ORX_TEST_CHINA_HOST;
inline constexpr const char* kDevelopmentHost = ORX_TEST_DEVELOPMENT_HOST;

// A SOAP answer with this text inside its envelope.
std::string soapAnswer(std::string_view block);
// The four elements of a result block, without white space between them. ReturnData is an empty
// element when there is no data.
std::string resultBlock(std::string_view code, std::string_view description,
                        std::string_view dataType, std::optional<std::string_view> data);
// The text with XML's special characters escaped.
std::string xmlEscaped(std::string_view text);

// The text between the first `from` and the next `to`; throws when they are not there.
std::string between(const std::string& text, std::string_view from, std::string_view to);

// What one call reported.
struct Report {
  std::shared_ptr<ORVAAccountAPIResult> result;
  std::shared_ptr<Error> error;
};

// One server for all three hosts, to which the default configuration leads every call of the
// process. A test sets the answer before its call.
class AccountServiceFixture : public ::testing::Test {
 protected:
  using Answer = TLSTestServer::Answer;
  using Request = TLSTestServer::Request;

  AccountServiceFixture();
  ~AccountServiceFixture() override;

  void answerWith(Answer answer);
  void answerWith(const std::string& body, int status = 200);
  void answerBy(TLSTestServer::Handler handler);

  // Starts one call and waits for its report; fails the test unless the report holds exactly one of
  // a result and an error.
  Report outcomeOf(const std::function<void(ORVAAccountAPICompletionHandler)>& start);

  std::shared_ptr<ORVAAccountAPI> api() const { return api_; }
  TLSTestServer& server() { return *server_; }
  Request onlyRequest();

 private:
  mutable std::mutex mutex_;
  TLSTestServer::Handler handler_;
  std::unique_ptr<TLSTestServer> server_;
  std::shared_ptr<ORVAAccountAPI> api_;
};

}  // namespace orx::testing
