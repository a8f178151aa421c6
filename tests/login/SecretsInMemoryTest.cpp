// SPDX-License-Identifier: MIT
// What lies in the process's memory once a call is over: no password, no ticket of who has signed
// out, and the application key only where ORVAAccount holds it. And what nobody is told. By hand,
// run these tests with LD_BIND_NOW=1.
#include <ORXAccount/Calls.h>
#include <ORXAccount/LogHandler.h>
#include <ORXAccount/ORVAAccount.h>
#include <ORXAccount/ORVAAccountLoginManager.h>
#include <ORXAccount/ORVAAccountUser.h>
#include <ORXAccount/ORVAAccountUserCache.h>
#include <ORXAccount/platform/Bundle.h>
#include <ORXAccount/platform/Keychain.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>

#include "support/AccountServiceFixture.h"
#include "support/MemoryScan.h"
#include "support/ServerProcess.h"
#include "support/SignInFixture.h"
#include "support/StorageHome.h"

namespace orx::testing {
namespace {

using Answer = TLSTestServer::Answer;
using Request = TLSTestServer::Request;
using namespace std::chrono_literals;

const Canary password("password");
const Canary appKey("appKey", 3000);
const Canary ticket("ticket", 3000);

Answer block(std::string_view code, std::string_view type, const std::string& data) {
  return Answer::reply(200, soapAnswer(resultBlock(code, "words", type, data)));
}

std::string recordWithTicket() {
  return R"([{"login":"joe","sso_ticket":")" + ticket.text() + R"(","realname":"Joe"}])";
}

// In a process of its own. The sign-in's name says what becomes of it.
Answer answerTo(const Request& request) {
  const auto asks = [&](const char* word) { return request.body.find(word) != std::string::npos; };
  if (asks("in-chunks")) {
    std::string chunks;
    for (const char byte : soapAnswer(resultBlock("1", "words", "Json", recordWithTicket()))) {
      chunks += std::string("1\r\n") + byte + "\r\n";
    }
    return {.bytes =
                "HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n" + chunks + "0\r\n\r\n"};
  }
  if (asks("refused")) return block("0", "String", "");
  if (asks("cut-off"))
    return block("1", "Json", recordWithTicket()).cutAfter(300, TLSTestServer::End::cut);
  if (asks("no-answer")) return Answer::hangUp(TLSTestServer::End::reset);
  if (asks("silence")) return Answer::silence();
  if (asks("sso0000004")) {
    return block("0", "XmlString",
                 xmlEscaped("<User><sso_ticket>" + ticket.text() +
                            "</sso_ticket><login>joe</login></User>"));
  }
  return block("1", "Json", recordWithTicket());
}

// A host that wipes what it has typed.
class SecretsInMemory : public ::testing::Test {
 protected:
  SecretsInMemory() {
    Bundle::mainBundle()->setBundleIdentifier("com.example.secrets");
    setKeychainPolicy(KeychainPolicy::FileOnly);
    URLSessionConfiguration::setDefaultConfiguration(server_.configuration());
    std::string key = appKey.text();
    ORVAAccount::sharedInstance()->initializeWithLaunchOptions_appKey_appID_isStage(
        std::nullopt, key, "my-app", false);
    wipeHosts(key);
    ORVAAccountLoginManager::sharedInstance()->setDelegate(delegate_);
  }
  ~SecretsInMemory() override { ORVAAccountUser::setCurrentUser(nullptr); }

  // The code of the error, 0 for a success.
  long signIn(std::string_view name) {
    std::string typed = password.text();
    ORVAAccountLoginManager::sharedInstance()->loginWithParameters(
        Dictionary{{"login", name}, {"passwd", typed}});
    wipeHosts(typed);
    return codeOfReport();
  }
  // Of what the delegate is told next.
  long codeOfReport() {
    const auto report = delegate_->reports.take();
    if (!report.error) return 0;
    errorTexts_ += Value(report.error->userInfo()).description() + '\n';
    return report.error->code();
  }

  // The worker that has reported lets go of the rest a moment later.
  static void expectCopies(const Canary& canary, std::size_t wanted, const char* name) {
    EXPECT_TRUE(eventually([&] { return canary.copies() == wanted; }, 2s))
        << canary.copies() << " copies of the " << name;
  }
  static void expectNoneLeft() {
    expectCopies(password, 0, "password");
    expectCopies(appKey, 1, "application key");
    expectCopies(ticket, 0, "ticket");
  }

  // Everything that errors have said.
  std::string errorTexts_;
  const StorageHome home_;
  const ServerProcess server_{{kGlobalHost, kChinaHost, kDevelopmentHost}, answerTo};
  const std::shared_ptr<RecordingDelegate> delegate_ = std::make_shared<RecordingDelegate>();
};

TEST_F(SecretsInMemory, AreFoundWhereTheyAre) {
  expectNoneLeft();
  std::string typed = password.text();
  expectCopies(password, 1, "password");
  wipeHosts(typed);
  expectCopies(password, 0, "password");
}

TEST_F(SecretsInMemory, AreGoneAfterASignInAndASignOut) {
  for (const auto* name : {"joe", "joe", "in-chunks"}) {
    ASSERT_EQ(signIn(name), 0);
    expectCopies(password, 0, "password");
    expectCopies(appKey, 1, "application key");
    EXPECT_GT(ticket.copies(), 0U) << "the user holds it";
    ORVAAccountLoginManager::sharedInstance()->logout();
    expectNoneLeft();
  }
}

TEST_F(SecretsInMemory, AreGoneAfterACallThatSignsInByTicket) {
  std::string typed = ticket.text();
  auto outcome = calls::signInWithTicket(typed).orError().future();
  wipeHosts(typed);
  ASSERT_EQ(outcome.get().error, nullptr);
  ORVAAccountLoginManager::sharedInstance()->logout();
  expectNoneLeft();
}

TEST_F(SecretsInMemory, AreGoneAfterASignInByTicket) {
  std::string typed = ticket.text();
  ORVAAccountLoginManager::sharedInstance()->loginWithTicket(typed);
  wipeHosts(typed);
  ASSERT_EQ(delegate_->reports.take().error, nullptr);
  EXPECT_GT(ticket.copies(), 0U) << "the user holds it";
  ORVAAccountLoginManager::sharedInstance()->logout();
  expectNoneLeft();
}

TEST_F(SecretsInMemory, AreGoneAfterAFailure) {
  for (const auto* name : {"refused", "cut-off", "no-answer"}) {
    EXPECT_NE(signIn(name), 0) << name;
    expectNoneLeft();
  }
}

TEST_F(SecretsInMemory, AreGoneAfterATimeout) {
  auto configuration = server_.configuration();
  configuration.setTimeoutIntervalForRequest(200ms);
  URLSessionConfiguration::setDefaultConfiguration(configuration);
  EXPECT_EQ(signIn("silence"), NSURLErrorTimedOut);
  expectNoneLeft();
}

TEST_F(SecretsInMemory, AreGoneAfterARefusedCertificate) {
  auto configuration = server_.configuration();
  configuration.setCaFile(std::nullopt);
  URLSessionConfiguration::setDefaultConfiguration(configuration);
  EXPECT_NE(signIn("joe"), 0);
  expectNoneLeft();
}

TEST_F(SecretsInMemory, AreGoneAfterAConnectionThatIsRefused) {
  auto configuration = server_.configuration();
  configuration.setConnectTo(kGlobalHost, {"127.0.0.1", 1});
  URLSessionConfiguration::setDefaultConfiguration(configuration);
  EXPECT_NE(signIn("joe"), 0);
  expectNoneLeft();
}

TEST_F(SecretsInMemory, AreGoneAfterARestoredUserHasSignedOut) {
  ASSERT_EQ(signIn("joe"), 0);
  ORVAAccountUser::setCurrentUser(ORVAAccountUserCache::sharedInstance()->cachedUser());
  ORVAAccountLoginManager::sharedInstance()->logout();
  expectNoneLeft();
}

// What a host, its log, its terminal and its disk get to see.
class SecretsTold : public SecretsInMemory {
 protected:
  SecretsTold() {
    setLogHandler(
        [lines = lines_](LogLevel, std::string_view line) { lines->put(std::string(line)); });
    ::testing::internal::CaptureStdout();
    ::testing::internal::CaptureStderr();
  }
  ~SecretsTold() override { setLogHandler({}); }

  std::string everythingTold() {
    std::string told = errorTexts_ + ::testing::internal::GetCapturedStdout() +
                       ::testing::internal::GetCapturedStderr();
    while (lines_->count() > 0) told += lines_->take() + '\n';
    return told;
  }
  bool isInAFile(const std::string& secret) const {
    const auto files = snapshotOf(home_.path());
    return std::ranges::any_of(
        files, [&](const auto& file) { return file.second.find(secret) != std::string::npos; });
  }
  void signInWith(const std::function<void(URLSessionConfiguration&)>& change, const char* name) {
    auto configuration = server_.configuration();
    change(configuration);
    URLSessionConfiguration::setDefaultConfiguration(configuration);
    EXPECT_NE(signIn(name), 0);
    URLSessionConfiguration::setDefaultConfiguration(server_.configuration());
  }

 private:
  const std::shared_ptr<Mailbox<std::string>> lines_ = std::make_shared<Mailbox<std::string>>();
};

TEST_F(SecretsTold, AreNoneWhateverBecomesOfASignIn) {
  const Canary ofProxy("proxy");
  for (const auto* name : {"refused", "cut-off", "no-answer"}) EXPECT_NE(signIn(name), 0);
  signInWith([](auto& with) { with.setTimeoutIntervalForRequest(200ms); }, "silence");
  signInWith([](auto& with) { with.setCaFile(std::nullopt); }, "joe");
  signInWith([](auto& with) { with.setConnectTo(kGlobalHost, {"127.0.0.1", 1}); }, "joe");
  for (const std::string end : {"@127.0.0.1:1", "@"}) {
    signInWith([&](auto& with) { with.setProxy("http://ada:" + ofProxy.text() + end); }, "joe");
  }
  ORVAAccountLoginManager::sharedInstance()->loginWithTicket(ticket.text());
  EXPECT_EQ(codeOfReport(), 0);
  EXPECT_EQ(signIn("joe"), 0);
  EXPECT_FALSE(isInAFile(password.text()));
  EXPECT_FALSE(isInAFile(appKey.text()));
  EXPECT_TRUE(isInAFile(ticket.text())) << "the store holds it";
  ORVAAccountLoginManager::sharedInstance()->logout();
  EXPECT_FALSE(isInAFile(ticket.text()));

  const std::string told = everythingTold();
  EXPECT_NE(told.find(kGlobalHost), std::string::npos);
  for (const auto& canary : {password, appKey, ticket, ofProxy}) {
    EXPECT_EQ(told.find(canary.text()), std::string::npos) << told;
  }
}

}  // namespace
}  // namespace orx::testing
