// SPDX-License-Identifier: MIT
#include <ORXAccount/CallbackExecutor.h>
#include <ORXAccount/LogHandler.h>
#include <ORXAccount/ORVAAccountConstants.h>
#include <ORXAccount/platform/Keychain.h>
#include <ORXAccount/platform/NotificationCenter.h>

#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "support/SignInFixture.h"

// Where observers and the delegate are told.
namespace orx {
namespace {

using namespace orx::testing;

using Block = std::function<void()>;
using Words = std::vector<std::string>;

class SignInsOnAnExecutor : public SignInFixture {
 protected:
  SignInsOnAnExecutor() {
    observation_ = NotificationCenter::defaultCenter()->addObserverForName_object_usingBlock(
        ORVAAccountUserDidChangeNotification, nullptr, [this](const Notification& notification) {
          const auto user =
              notification.userInfo()[ORVAAccountUserChangeNewKey].objectOf<ORVAAccountUser>();
          told("observers of " + (user ? user->login().value_or("?") : "nobody"));
        });
    manager()->setDelegate(teller_);
  }
  ~SignInsOnAnExecutor() override {
    setCallbackExecutor({});
    manager()->setDelegate({});
  }

  void use(CallbackScope scope) {
    setCallbackExecutor([this](const Block& block) { loop.put(block); }, scope);
  }
  void startSignIn(const std::string& name) {
    answerWithRecord(R"({"login":")" + name + R"("})");
    manager()->loginWithParameters(Dictionary{{"login", name}});
  }
  // Runs one block, and returns what was told meanwhile on this thread.
  Words runOne() {
    words_ = Words();
    const Block block = loop.take();
    block();
    return *std::exchange(words_, std::nullopt);
  }

  Mailbox<Block> loop;
  // What was told on another thread than the test's, or there without a block of the loop.
  Mailbox<std::string> elsewhere;

 private:
  class Teller : public ORVAAccountLoginManagerDelegate {
   public:
    explicit Teller(SignInsOnAnExecutor& test) : test_(test) {}
    void loginManager_didLoginWithUser_error(ORVAAccountLoginManager&,
                                             const std::shared_ptr<ORVAAccountUser>& user,
                                             const std::shared_ptr<Error>& error) override {
      const std::string outcome = error ? "failure" : "success";
      test_.told("delegate of " + outcome + " with " +
                 (user ? user->login().value_or("?") : "nobody"));
    }

   private:
    SignInsOnAnExecutor& test_;
  };

  void told(const std::string& word) {
    if (std::this_thread::get_id() == here_ && words_) {
      words_->push_back(word);
    } else {
      elsewhere.put(word);
    }
  }

  const std::thread::id here_ = std::this_thread::get_id();
  std::optional<Words> words_;
  Observation observation_;
  std::shared_ptr<Teller> teller_ = std::make_shared<Teller>(*this);
};

TEST_F(SignInsOnAnExecutor, TellObserversAndThenTheDelegateInOneBlock) {
  use(CallbackScope::Everything);
  startSignIn("ada");
  EXPECT_EQ(runOne(), (Words{"observers of ada", "delegate of success with ada"}));
  EXPECT_EQ(loop.count() + elsewhere.count(), 0U);
}

TEST_F(SignInsOnAnExecutor, TellEachOfSeveralItsOwnUser) {
  use(CallbackScope::Everything);
  startSignIn("ada");
  EXPECT_EQ(runOne(), (Words{"observers of ada", "delegate of success with ada"}));
  startSignIn("bea");
  EXPECT_EQ(runOne(), (Words{"observers of bea", "delegate of success with bea"}));
}

TEST_F(SignInsOnAnExecutor, TellOfARefusalThere) {
  use(CallbackScope::Everything);
  answerWithRefusal("no");
  manager()->loginWithParameters(Dictionary{{"login", "ada"}});
  EXPECT_EQ(runOne(), Words{"delegate of failure with nobody"});
}

TEST_F(SignInsOnAnExecutor, TellOfATicketsDataThatIsNoXMLThere) {
  use(CallbackScope::Everything);
  answerWith(soapAnswer(resultBlock("0", "OK", "String", "text")));
  manager()->loginWithTicket("ticket");
  EXPECT_EQ(runOne(), Words{"delegate of success with nobody"});
}

TEST_F(SignInsOnAnExecutor, TellOfATicketsUserThere) {
  use(CallbackScope::Everything);
  answerWith(soapAnswer(
      resultBlock("0", "OK", "XmlString", xmlEscaped("<user><login>ada</login></user>"))));
  manager()->loginWithTicket("ticket");
  EXPECT_EQ(runOne(), (Words{"observers of ada", "delegate of success with ada"}));
  EXPECT_EQ(loop.count() + elsewhere.count(), 0U);
}

TEST_F(SignInsOnAnExecutor, StayOnAWorkerUnlessTheHostAsks) {
  use(CallbackScope::Handlers);
  startSignIn("ada");
  EXPECT_EQ(elsewhere.take(), "observers of ada");
  EXPECT_EQ(elsewhere.take(), "delegate of success with ada");
  EXPECT_EQ(loop.count(), 0U);
}

TEST_F(SignInsOnAnExecutor, AreStoredBeforeTheLoopRuns) {
  use(CallbackScope::Everything);
  startSignIn("ada");
  const Block block = loop.take();
  EXPECT_EQ(ORVAAccountUser::currentUser()->login(), "ada");
  loop.put(block);
  runOne();
}

TEST_F(SignInsOnAnExecutor, TellObserversAndThenTheDelegateWhenTheLoopDropsTheBlock) {
  use(CallbackScope::Everything);
  startSignIn("ada");
  loop.take();
  EXPECT_EQ(elsewhere.take(), "observers of ada");
  EXPECT_EQ(elsewhere.take(), "delegate of success with ada");
  EXPECT_EQ(elsewhere.count(), 0U);
}

TEST_F(SignInsOnAnExecutor, AreFollowedThereByASignOutOfTheHosts) {
  use(CallbackScope::Everything);
  startSignIn("ada");
  Block signIn = loop.take();
  manager()->logout();
  EXPECT_EQ(elsewhere.count(), 0U) << "told before the block of the sign-in has run";
  Block signOut = loop.take();
  loop.put(signIn);
  EXPECT_EQ(runOne(), (Words{"observers of ada", "delegate of success with nobody"}));
  loop.put(signOut);
  EXPECT_EQ(runOne(), Words{"observers of nobody"});
}

TEST_F(SignInsOnAnExecutor, AreToldWhileALogHandlerBlocks) {
  use(CallbackScope::Everything);
  setKeychainPolicy(KeychainPolicy::PreferSecretService);
  // Shared with the handler, which may be inside when the test is over.
  const auto logged = std::make_shared<Mailbox<int>>();
  const auto leave = std::make_shared<Mailbox<int>>();
  setLogHandler([logged, leave](LogLevel, std::string_view line) {
    if (!line.starts_with("The user is stored in a file")) return;
    logged->put(0);
    leave->take();
  });
  startSignIn("ada");
  logged->take();
  EXPECT_EQ(runOne(), (Words{"observers of ada", "delegate of success with ada"}));
  leave->put(0);
  setLogHandler({});
}

}  // namespace
}  // namespace orx
