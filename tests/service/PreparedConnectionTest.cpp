// SPDX-License-Identifier: MIT
#include "support/AccountServiceFixture.h"
#include "support/Handshakes.h"
#include "support/ThreadLimit.h"

namespace orx::testing {
namespace {

class PreparedConnection : public AccountServiceFixture {
 protected:
  PreparedConnection() { answerWith(soapAnswer(resultBlock("1", "Success", "json", "[{}]"))); }
  ~PreparedConnection() override { ORVAAccountAPI::setTargetServerWithIsCN(false); }

  void signIn() {
    const Report report = outcomeOf([this](ORVAAccountAPICompletionHandler handler) {
      api()->login_completionHandler({}, std::move(handler));
    });
    EXPECT_NE(report.result, nullptr);
  }

  Handshakes handshakes_{server()};
};

TEST_F(PreparedConnection, ServesTheNextOperation) {
  ORVAAccountAPI::prepareConnection();
  handshakes_.await();
  signIn();
  EXPECT_EQ(server().connectionCount(), 1U);
  EXPECT_EQ(onlyRequest().serverName, kGlobalHost);
}

TEST_F(PreparedConnection, LeadsToTheServerOfTheFlag) {
  ORVAAccountAPI::setTargetServerWithIsCN(true);
  ORVAAccountAPI::prepareConnection();
  handshakes_.await();
  signIn();
  EXPECT_EQ(server().connectionCount(), 1U);
  EXPECT_EQ(onlyRequest().serverName, kChinaHost);
  // The other server's connection is another one.
  ORVAAccountAPI::setTargetServerWithIsCN(false);
  signIn();
  EXPECT_EQ(server().connectionCount(), 2U);
}

TEST_F(PreparedConnection, IsLeftOutWhereTheSystemHasNoThread) {
  if (!canLimitThreads()) GTEST_SKIP() << "only root's processes can be limited";
  EXPECT_EQ(statusWithThreads(0,
                              [] {
                                ORVAAccountAPI::prepareConnection();
                                return 7;
                              }),
            7);
}

TEST_F(PreparedConnection, IsNeverMadeByTheLibraryItself) {
  ORVAAccountAPI::setTargetServerWithIsCN(false);
  signIn();
  EXPECT_EQ(server().connectionCount(), 1U);
}

}  // namespace
}  // namespace orx::testing
