// SPDX-License-Identifier: MIT
// What lies in the process's memory once a call is over: no password, no ticket of who has signed
// out, and the application key only where ORVAAccount holds it. By hand, run these tests with
// LD_BIND_NOW=1.
#include <ORXAccount/Calls.h>
#include <ORXAccount/ORVAAccountUser.h>
#include <ORXAccount/ORVAAccountUserCache.h>

#include "login/SecretsFixture.h"

namespace orx::testing {
namespace {

using namespace std::chrono_literals;

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
    signOut();
    expectNoneLeft();
  }
}

TEST_F(SecretsInMemory, AreGoneAfterACallThatSignsInByTicket) {
  std::string typed = ticket.text();
  auto outcome = calls::signInWithTicket(typed).orError().future();
  wipeHosts(typed);
  ASSERT_EQ(outcome.get().error, nullptr);
  signOut();
  expectNoneLeft();
}

TEST_F(SecretsInMemory, AreGoneAfterASignInByTicket) {
  std::string typed = ticket.text();
  ORVAAccountLoginManager::sharedInstance()->loginWithTicket(typed);
  wipeHosts(typed);
  ASSERT_EQ(delegate_->reports.take().error, nullptr);
  EXPECT_GT(ticket.copies(), 0U) << "the user holds it";
  signOut();
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
  signOut();
  expectNoneLeft();
}

}  // namespace
}  // namespace orx::testing
