// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <algorithm>
#include <regex>

#include "devserver/ServiceClient.h"
#include "support/Exchange.h"

namespace orx::testing {
namespace {

std::string replaced(std::string text, const std::string& from, const std::string& to) {
  for (std::size_t at = 0; (at = text.find(from, at)) != std::string::npos; at += to.size()) {
    text.replace(at, from.size(), to);
  }
  return text;
}

// The answer with its random parts replaced by the placeholders of the recorded answer.
std::string withPlaceholders(const std::string& answer) {
  static const std::regex ticket(R"re("([Tt])icket":"[0-9a-f]{48}")re");
  static const std::regex token(R"re(/sso/[0-9a-f]{48})re");
  return std::regex_replace(std::regex_replace(answer, ticket, R"("$1icket":"$${ticket}")"), token,
                            "/sso/$${token}");
}

class Replay {
 public:
  Replay() {
    service_.start();
    client_.emplace(service_);
  }

  Reply send(const Exchange& exchange) {
    const std::string request = replaced(exchange.request, "${ticket}", ticket_);
    Reply reply = exchange.apiID.empty()
                      ? client_->post(globalURL(exchange.path), request, "application/json")
                      : client_->call(exchange.apiID, request, {exchange.appID, exchange.appKey});
    if (const std::string ticket = ticketIn(reply.body); !ticket.empty()) ticket_ = ticket;
    return reply;
  }

 private:
  DevelopmentService service_;
  std::optional<ServiceClient> client_;
  std::string ticket_;
};

class RecordedExchange : public ::testing::TestWithParam<std::string> {};

TEST_P(RecordedExchange, IsAnsweredAsRecorded) {
  Replay replay;
  const Exchange exchange = loadExchange(GetParam());
  for (const std::string& name : exchange.after) replay.send(loadExchange(name));
  const Reply reply = replay.send(exchange);
  EXPECT_EQ(reply.transport, 0);
  EXPECT_EQ(reply.status, exchange.status);
  if (exchange.answer) {
    EXPECT_EQ(withPlaceholders(reply.body), *exchange.answer);
  } else {
    EXPECT_TRUE(std::regex_search(reply.body, std::regex(exchange.answerPattern)))
        << reply.body.substr(0, 2000);
  }
}

INSTANTIATE_TEST_SUITE_P(All, RecordedExchange, ::testing::ValuesIn(exchangeNames()),
                         [](const auto& exchange) {
                           std::string name = exchange.param;
                           std::replace(name.begin(), name.end(), '-', '_');
                           return name;
                         });

}  // namespace
}  // namespace orx::testing
