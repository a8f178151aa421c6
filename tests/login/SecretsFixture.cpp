// SPDX-License-Identifier: MIT
#include "login/SecretsFixture.h"

#include <ORXAccount/ORVAAccount.h>
#include <ORXAccount/ORVAAccountUser.h>
#include <ORXAccount/platform/Bundle.h>

#include <utility>

#include "support/AccountServiceFixture.h"

namespace orx::testing {

using Answer = TLSTestServer::Answer;
using Request = TLSTestServer::Request;
using namespace std::chrono_literals;

namespace {

std::string block(std::string_view code, std::string_view type, const std::string& data) {
  return soapAnswer(resultBlock(code, "words", type, data));
}

Answer inChunks(const std::string& body) {
  std::string chunks = "HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n";
  for (const char byte : body) chunks += std::string("1\r\n") + byte + "\r\n";
  return {.bytes = chunks + "0\r\n\r\n"};
}

}  // namespace

SecretsInMemory::SecretsInMemory(KeychainPolicy policy) {
  Bundle::mainBundle()->setBundleIdentifier("com.example.secrets");
  setKeychainPolicy(policy);
  URLSessionConfiguration::setDefaultConfiguration(server_.configuration());
  std::string key = appKey.text();
  ORVAAccount::sharedInstance()->initializeWithLaunchOptions_appKey_appID_isStage(std::nullopt, key,
                                                                                  "my-app", false);
  wipeHosts(key);
  ORVAAccountLoginManager::sharedInstance()->setDelegate(delegate_);
}

SecretsInMemory::~SecretsInMemory() { ORVAAccountUser::setCurrentUser(nullptr); }

Answer SecretsInMemory::answerTo(const Request& request) {
  const auto asks = [&](const char* word) { return request.body.find(word) != std::string::npos; };
  const std::string record =
      R"({"login":"joe","sso_ticket":")" + ticket.text() + R"(","realname":"Joe"})";
  // What each interface reads.
  std::string whole = block("1", "Json", "[" + record + "]");
  if (asks("sso0000004")) {
    whole = asks("no-xml") ? block("0", "String", "of " + ticket.text())
                           : block("0", "XmlString",
                                   xmlEscaped("<User><sso_ticket>" + ticket.text() +
                                              "</sso_ticket><login>joe</login></User>"));
  } else if (asks("sso0000006")) {
    whole = block("1", "String", "https://example.com/?" + ticket.text());
  } else if (request.target.starts_with("/api/")) {
    whole = R"({"Status":0,"Message":"words","Result":)" + record + "}";
  }
  if (asks("in-chunks")) return inChunks(whole);
  if (asks("refused")) return Answer::reply(200, block("0", "String", ""));
  if (asks("cut-off")) return Answer::reply(200, whole).cutAfter(300, TLSTestServer::End::cut);
  if (asks("no-answer")) return Answer::hangUp(TLSTestServer::End::reset);
  if (asks("silence")) return Answer::silence();
  if (asks("status-500")) return Answer::reply(500, whole);
  if (asks("broken-xml")) return Answer::reply(200, whole.substr(0, whole.size() / 2));
  if (asks("broken-json")) return Answer::reply(200, block("1", "Json", "[" + record + ",{"));
  for (const int status : {302, 307}) {
    if (!asks(("moved-" + std::to_string(status)).c_str())) continue;
    return Answer::reply(status, whole, {{"Location", "/elsewhere"}});
  }
  return Answer::reply(200, whole);
}

long SecretsInMemory::signIn(std::string_view name) {
  std::string typed = password.text();
  ORVAAccountLoginManager::sharedInstance()->loginWithParameters(
      Dictionary{{"login", name}, {"passwd", typed}});
  wipeHosts(typed);
  return codeOfReport();
}

long SecretsInMemory::codeOfReport() {
  const auto report = delegate_->reports.take();
  if (!report.error) return 0;
  errorTexts_ += Value(report.error->userInfo()).description() + '\n';
  return report.error->code();
}

void SecretsInMemory::expectCopies(const Canary& canary, std::size_t wanted, const char* name) {
  EXPECT_TRUE(eventually([&] { return canary.copies() == wanted; }, 2s))
      << canary.copies() << " copies of the " << name;
}

void SecretsInMemory::expectNoneLeft() {
  expectCopies(password, 0, "password");
  expectCopies(appKey, 1, "application key");
  expectCopies(ticket, 0, "ticket");
}

}  // namespace orx::testing
