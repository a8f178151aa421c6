// SPDX-License-Identifier: MIT
// The development service: a fault plan in the first line, then requests, each a line
// "METHOD HOST PATH" and a body up to a mark. What the TLS and HTTP libraries do before is theirs.

#include <ORXAccount/platform/XMLParser.h>
#include <openssl/evp.h>
#include <openssl/hmac.h>

#include <string>

#include "FuzzTarget.h"
#include "devserver/Router.h"
#include "platform/formats/JSONSerialization.h"

// In OpenSSL's place, one round for thousands: a password's hash would be all that takes time.
int PKCS5_PBKDF2_HMAC(const char* password, int length, const unsigned char* salt, int saltLength,
                      int, const EVP_MD* digest, int, unsigned char* hash) {
  return HMAC(digest, password, length, salt, static_cast<std::size_t>(saltLength), hash,
              nullptr) != nullptr;
}

namespace {

using namespace orx::devserver;

Router& router() {
  static Router router({.globalHost = "g.example", .chinaHost = "c.example"}, 8443);
  return router;
}

bool isXML(const std::string& text) {
  return orx::XMLParser::initWithData(orx::Data(std::string_view(text)))->parse();
}

void setFaults(std::string_view plan) {
  try {
    router().setFaults(plan);
  } catch (const std::invalid_argument& problem) {
    ORX_FUZZ_CHECK(*problem.what() != 0);
  }
}

void addAccounts(std::string_view accounts) {
  try {
    router().addAccounts(accounts);
  } catch (const std::invalid_argument& problem) {
    ORX_FUZZ_CHECK(*problem.what() != 0);
  }
}

void ask(std::string_view text) {
  FuzzInput input(text);
  FuzzInput head(input.line());
  HTTPRequest request;
  request.method = head.upTo(" ");
  request.host = head.upTo(" ");
  request.path = head.upTo("?");
  while (!head.empty()) {
    FuzzInput pair(head.upTo("&"));
    const std::string name(pair.upTo("="));
    request.query.emplace(name, pair.rest());
  }
  request.body = input.rest();
  const Delivery delivery = router().answer(request);
  ORX_FUZZ_CHECK(delivery.response.status >= 100 && delivery.response.status <= 999);
  const auto last = router().log().requests().back();
  ORX_FUZZ_CHECK(orx::platform::JSONObjectWithText(RequestLog::jsonLine(last)));
  const bool isSOAP = delivery.response.contentType.find("xml") != std::string::npos;
  ORX_FUZZ_CHECK(!isSOAP || last.fault || isXML(delivery.response.body));
}

}  // namespace

ORX_FUZZ_TARGET(text) {
  // Passwords are hashed with much memory, and pictures drawn.
  allowForAnyInput(std::size_t{512} << 20);
  router().reset();
  FuzzInput input(text);
  const std::string plan(input.line());
  // A body of that size is what the plan asks for.
  if (plan.find("huge") != std::string::npos) return;
  if (!plan.empty()) setFaults(plan);
  const auto accounts = input.line();
  if (!accounts.empty()) addAccounts(accounts);
  for (int requests = 0; requests < 4 && !input.empty(); ++requests) ask(input.upTo("\n====\n"));
}
