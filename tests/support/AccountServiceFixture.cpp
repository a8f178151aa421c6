// SPDX-License-Identifier: MIT
#include "support/AccountServiceFixture.h"

#include <stdexcept>
#include <utility>

namespace orx::testing {

std::string soapAnswer(std::string_view block) {
  return R"(<?xml version="1.0" encoding="utf-8"?><soap:Envelope )"
         R"(xmlns:soap="http://schemas.xmlsoap.org/soap/envelope/"><soap:Body><callResponse>)" +
         std::string(block) + "</callResponse></soap:Body></soap:Envelope>";
}

std::string resultBlock(std::string_view code, std::string_view description,
                        std::string_view dataType, std::optional<std::string_view> data) {
  std::string text = "<ResultCode>" + std::string(code) + "</ResultCode><ResultDesc>" +
                     std::string(description) + "</ResultDesc><ReturnDataType>" +
                     std::string(dataType) + "</ReturnDataType>";
  return text + (data ? "<ReturnData>" + std::string(*data) + "</ReturnData>" : "<ReturnData />");
}

std::string xmlEscaped(std::string_view text) {
  std::string escaped;
  for (const char character : text) {
    switch (character) {
      case '&':
        escaped += "&amp;";
        break;
      case '<':
        escaped += "&lt;";
        break;
      case '>':
        escaped += "&gt;";
        break;
      default:
        escaped += character;
    }
  }
  return escaped;
}

std::string between(const std::string& text, std::string_view from, std::string_view to) {
  const auto start = text.find(from);
  if (start == std::string::npos)
    throw std::runtime_error("no " + std::string(from) + " in " + text);
  const auto first = start + from.size();
  const auto end = text.find(to, first);
  if (end == std::string::npos) throw std::runtime_error("no " + std::string(to) + " in " + text);
  return text.substr(first, end - first);
}

AccountServiceFixture::AccountServiceFixture() {
  const std::vector<std::string> hosts{kGlobalHost, kChinaHost, kDevelopmentHost};
  server_ = std::make_unique<TLSTestServer>(hosts, [this](const Request& request) {
    TLSTestServer::Handler handler;
    {
      const std::lock_guard lock(mutex_);
      handler = handler_;
    }
    return handler ? handler(request) : Answer::reply(404);
  });
  URLSessionConfiguration::setDefaultConfiguration(server_->configuration());
  api_ = ORVAAccountAPI::initWithOptions({{"AppID", "my-app"}, {"AppKey", "my-key"}});
}

AccountServiceFixture::~AccountServiceFixture() { server_->release(); }

void AccountServiceFixture::answerBy(TLSTestServer::Handler handler) {
  const std::lock_guard lock(mutex_);
  handler_ = std::move(handler);
}

void AccountServiceFixture::answerWith(Answer answer) {
  answerBy([answer = std::move(answer)](const Request& /*request*/) { return answer; });
}

void AccountServiceFixture::answerWith(const std::string& body, int status) {
  answerWith(Answer::reply(status, body));
}

Report AccountServiceFixture::outcomeOf(
    const std::function<void(ORVAAccountAPICompletionHandler)>& start) {
  // Shared with the callback, which may still come after take() has given up waiting.
  const auto reports = std::make_shared<Mailbox<Report>>();
  start([reports](const std::shared_ptr<ORVAAccountAPIResult>& result,
                  const std::shared_ptr<Error>& error) {
    reports->put({result, error});
  });
  // The largest answers take long where everything that runs is counted.
  Report outcome = reports->take(3 * patience);
  EXPECT_NE(outcome.result == nullptr, outcome.error == nullptr);
  return outcome;
}

AccountServiceFixture::Request AccountServiceFixture::onlyRequest() {
  const auto requests = server().requests();
  EXPECT_EQ(requests.size(), 1U);
  if (requests.empty()) throw std::runtime_error("no request arrived");
  return requests.front();
}

}  // namespace orx::testing
