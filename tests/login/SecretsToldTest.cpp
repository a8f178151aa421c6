// SPDX-License-Identifier: MIT
// What a host, its log, its terminal and its disk get to see of passwords, tickets and keys.
#include <ORXAccount/LogHandler.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <functional>

#include "login/SecretsFixture.h"

namespace orx::testing {
namespace {

using namespace std::chrono_literals;

class SecretsTold : public SecretsInMemory {
 protected:
  SecretsTold() {
    setLogHandler(
        [lines = lines_](LogLevel, std::string_view line) { lines->put(std::string(line)); });
    ::testing::internal::CaptureStdout();
    ::testing::internal::CaptureStderr();
    // Temporary files are looked through too.
    std::filesystem::create_directory(home_.path() / "temporary");
    setenv("TMPDIR", (home_.path() / "temporary").c_str(), 1);
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
  void failInEveryWay() {
    for (const auto* name : {"refused", "cut-off", "no-answer", "broken-xml"}) {
      EXPECT_NE(signIn(name), 0) << name;
    }
    for (const auto* name : {"status-500", "broken-json", "moved-302", "moved-307"}) signIn(name);
    signInWith([](auto& with) { with.setTimeoutIntervalForRequest(200ms); }, "silence");
    signInWith([](auto& with) { with.setCaFile(std::nullopt); }, "joe");
    signInWith([](auto& with) { with.setConnectTo(kGlobalHost, {"127.0.0.1", 1}); }, "joe");
    for (const std::string end : {"@127.0.0.1:1", "@"}) {
      signInWith([&](auto& with) { with.setProxy("http://ada:" + ofProxy.text() + end); }, "joe");
    }
  }
  void signInWith(const std::function<void(URLSessionConfiguration&)>& change, const char* name) {
    auto configuration = server_.configuration();
    change(configuration);
    URLSessionConfiguration::setDefaultConfiguration(configuration);
    EXPECT_NE(signIn(name), 0);
    URLSessionConfiguration::setDefaultConfiguration(server_.configuration());
  }

  static inline const Canary ofProxy{"proxy"};

 private:
  const std::shared_ptr<Mailbox<std::string>> lines_ = std::make_shared<Mailbox<std::string>>();
};

TEST_F(SecretsTold, AreNoneWhateverBecomesOfASignIn) {
  failInEveryWay();
  ORVAAccountLoginManager::sharedInstance()->loginWithTicket(ticket.text());
  EXPECT_EQ(codeOfReport(), 0);
  EXPECT_EQ(signIn("joe"), 0);
  EXPECT_FALSE(isInAFile(password.text()));
  EXPECT_FALSE(isInAFile(appKey.text()));
  EXPECT_TRUE(isInAFile(ticket.text())) << "the store holds it";
  signOut();
  EXPECT_FALSE(isInAFile(ticket.text()));

  const std::string told = everythingTold();
  EXPECT_NE(told.find(kGlobalHost), std::string::npos);
  for (const auto& canary : {password, appKey, ticket, ofProxy}) {
    EXPECT_EQ(told.find(canary.text()), std::string::npos) << told;
  }
}

// Without a handler the service's data goes to standard error in one case, and nothing else does.
TEST_F(SecretsTold, AreInTheOneLineOfDataThatIsNoXMLWhereNoHandlerIsSet) {
  setLogHandler({});
  failInEveryWay();
  ORVAAccountLoginManager::sharedInstance()->loginWithTicket("no-xml" + ticket.text());
  EXPECT_EQ(codeOfReport(), 0);
  EXPECT_EQ(signIn("joe"), 0);
  signOut();
  EXPECT_EQ(::testing::internal::GetCapturedStderr(),
            "[OrvaAccount] The return data is not XML format: of " + ticket.text() + "\n");
  EXPECT_EQ(::testing::internal::GetCapturedStdout(), "");
}

}  // namespace
}  // namespace orx::testing
