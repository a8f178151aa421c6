// SPDX-License-Identifier: MIT
// Sign-ins and pictures of a host to which the system refuses threads or memory.
#include <ORXAccount/ORVAAccount.h>
#include <ORXAccount/ORVAAccountUser.h>
#include <ORXAccount/platform/URLSessionConfiguration.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <optional>
#include <system_error>

#include "allocations/FailingAllocation.h"
#include "platform/queues/WorkerPool.h"
#include "support/ServerProcess.h"
#include "support/SignInFixture.h"
#include "support/ThreadCount.h"
#include "support/ThreadLimit.h"

namespace orx::testing {
namespace {

constexpr int fine = 7;

using Picture = std::optional<Data>;

// A host whose server is another process, so that children of this one may use it.
class Shortage : public ::testing::TestWithParam<std::size_t> {
 protected:
  Shortage() {
    URLSessionConfiguration::setDefaultConfiguration(server_.configuration());
    setenv("XDG_CONFIG_HOME", (storage_ / "config").c_str(), 1);
    setenv("XDG_DATA_HOME", (storage_ / "data").c_str(), 1);
  }

  static void initialize(const std::shared_ptr<ORVAAccountLoginManagerDelegate>& delegate) {
    ORVAAccount::sharedInstance()->initializeWithLaunchOptions_appKey_appID_isStage(
        std::nullopt, "my-key", "my-app", false);
    ORVAAccountLoginManager::sharedInstance()->setDelegate(delegate);
  }
  static void signIn() {
    ORVAAccountLoginManager::sharedInstance()->loginWithParameters({{"login", "ada"}});
  }
  static int signInTwice() {
    const auto delegate = std::make_shared<RecordingDelegate>();
    initialize(delegate);
    for (int i = 0; i < 2; ++i) {
      signIn();
      const LoginReport report = delegate->reports.take();
      if (report.error || !report.user) return 1;
    }
    return delegate->reports.count() == 0 ? fine : 2;
  }

  static void loadPicture(Mailbox<Picture>& pictures) {
    ORVAAccountUser::initWithUserInfo(Dictionary{{"pic", "me.png"}})
        ->loadProfileImageDataWithCompletionBlock(
            [&](const Picture& data, const auto& /*error*/) { pictures.put(data); });
  }

  const URLSessionConfiguration& configuration() const { return server_.configuration(); }

 private:
  static TLSTestServer::Answer answer(const TLSTestServer::Request& request) {
    if (request.target.ends_with("gone.png")) return TLSTestServer::Answer::reply(404);
    if (request.method == "GET") return TLSTestServer::Answer::reply(200, "picture");
    if (request.target.ends_with("/Login")) {
      return TLSTestServer::Answer::reply(200, R"({"Status":0,"Result":{"Login":"ada"}})");
    }
    if (request.body.find("<soap12:") != std::string::npos) {
      return TLSTestServer::Answer::reply(
          200,
          soapAnswer(resultBlock("0", "OK", "XmlString", xmlEscaped("<u><login>ada</login></u>"))));
    }
    return TLSTestServer::Answer::reply(
        200, soapAnswer(resultBlock("1", "OK", "Json", R"([{"login":"ada"}])")));
  }

  TemporaryDirectory storage_;
  ServerProcess server_{{kGlobalHost}, answer};
};

class CallsWithFewThreads : public Shortage {
 protected:
  void SetUp() override {
    if (!canLimitThreads()) GTEST_SKIP() << "only root's processes can be limited";
    // The child is another user's.
    std::filesystem::permissions(std::filesystem::path(*configuration().caFile()).parent_path(),
                                 std::filesystem::perms{0755});
  }
};

TEST_P(CallsWithFewThreads, SignIn) {
  EXPECT_EQ(statusWithThreads(GetParam(), [] { return signInTwice(); }), fine);
}

TEST_P(CallsWithFewThreads, LoadPictures) {
  EXPECT_EQ(statusWithThreads(GetParam(),
                              [] {
                                Mailbox<Picture> pictures;
                                for (int i = 0; i < 20; ++i) {
                                  loadPicture(pictures);
                                  if (pictures.take() != Data("picture")) return 1;
                                  // The one that leads waits for its sockets when the next load
                                  // begins.
                                  if (!eventually(othersSleep)) return 2;
                                }
                                return fine;
                              }),
            fine);
}

INSTANTIATE_TEST_SUITE_P(Threads, CallsWithFewThreads, ::testing::Values(1, 2, 3),
                         ::testing::PrintToStringParamName());

TEST_F(CallsWithFewThreads, ASignInWithoutAnyThrowsAndReportsNothing) {
  EXPECT_EQ(statusWithThreads(0,
                              [] {
                                const auto delegate = std::make_shared<RecordingDelegate>();
                                initialize(delegate);
                                try {
                                  signIn();
                                  return 1;
                                } catch (const std::system_error&) {
                                }
                                limitThreads(1);
                                const int status = signInTwice();
                                return delegate->reports.count() == 0 ? status : 3;
                              }),
            fine);
}

TEST_F(CallsWithFewThreads, APictureWithoutAnyThrowsAndReportsNothing) {
  EXPECT_EQ(statusWithThreads(0,
                              [] {
                                Mailbox<Picture> pictures;
                                try {
                                  loadPicture(pictures);
                                  return 1;
                                } catch (const std::system_error&) {
                                }
                                limitThreads(1);
                                loadPicture(pictures);
                                if (pictures.take() != Data("picture")) return 2;
                                return pictures.count() == 0 ? fine : 3;
                              }),
            fine);
}

// Each allocation of the thread that starts a call fails once: either the call throws and nothing
// comes of it, or it goes on and reports as ever.
class CallsWithoutMemory : public Shortage {
 protected:
  // Starts one call with this allocation failing and then one as ever, and takes all reports. False
  // once there is no allocation of this number.
  template <typename T>
  static bool reportsAllOrNothing(std::size_t number, Mailbox<T>& reports,
                                  const std::function<void()>& start) {
    const auto first = withFailingAllocation(number, start);
    start();
    if (!first.threw) reports.take();
    reports.take();
    if (reports.count() != 0) throw std::logic_error("a call that threw has reported");
    return first.hasFailed;
  }

  // The same for the first call of a process, in a child for each number.
  static void expectOfFirstCalls(const std::function<bool(std::size_t)>& once) {
    constexpr int over = 8;
    int status = fine;
    for (std::size_t number = 0; status == fine; ++number) {
      ChildProcess child([&] { return once(number) ? fine : over; });
      status = child.wait();
    }
    EXPECT_EQ(status, over);
  }
};

TEST_F(CallsWithoutMemory, SignInOrThrow) {
  const auto delegate = std::make_shared<RecordingDelegate>();
  initialize(delegate);
  for (std::size_t number = 0; reportsAllOrNothing(number, delegate->reports, signIn);) ++number;
}

TEST_F(CallsWithoutMemory, SignInOrThrowAsTheFirstCallOfAProcess) {
  const auto delegate = std::make_shared<RecordingDelegate>();
  initialize(delegate);
  expectOfFirstCalls(
      [&](std::size_t number) { return reportsAllOrNothing(number, delegate->reports, signIn); });
}

TEST_F(CallsWithoutMemory, LoadPicturesOrThrow) {
  Mailbox<Picture> pictures;
  const auto start = [&] { loadPicture(pictures); };
  for (std::size_t number = 0; reportsAllOrNothing(number, pictures, start);) ++number;
}

TEST_F(CallsWithoutMemory, LoadPicturesOrThrowAsTheFirstCallOfAProcess) {
  Mailbox<Picture> pictures;
  expectOfFirstCalls([&](std::size_t number) {
    return reportsAllOrNothing(number, pictures, [&] { loadPicture(pictures); });
  });
}

// ---- On the worker that reads the answer, where nobody could catch what is thrown. ----

// One allocation of its thread fails until it has the report.
class ForgetfulDelegate final : public ORVAAccountLoginManagerDelegate {
 public:
  // On the worker that comes to it, which is the only one.
  void failAllocation(std::size_t number) {
    platform::WorkerPool::shared().submit(
        platform::makeJob([this, number] { failing_.emplace(number); }));
  }
  void loginManager_didLoginWithUser_error(ORVAAccountLoginManager& manager,
                                           const std::shared_ptr<ORVAAccountUser>& user,
                                           const std::shared_ptr<Error>& error) override {
    hasFailed_ = FailingAllocation::hasFailed();
    failing_.reset();
    reports.put({&manager, user, error});
  }
  bool hasFailed() const { return hasFailed_; }

  Mailbox<LoginReport> reports;

 private:
  std::optional<FailingAllocation> failing_;
  bool hasFailed_ = false;
};

class WorkerWithoutMemory : public CallsWithFewThreads {
 protected:
  using Start = void (*)(ORVAAccountLoginManager& manager);

  static int statusOfSigningIn(Start start) {
    return statusWithThreads(1, [start] { return signInWith(start); });
  }

 private:
  static int signInWith(Start start) {
    const auto delegate = std::make_shared<ForgetfulDelegate>();
    initialize(delegate);
    auto& manager = *ORVAAccountLoginManager::sharedInstance();
    start(manager);
    if (delegate->reports.take().error) return 1;
    bool failed = true;
    for (std::size_t number = 0; failed; ++number) {
      const auto before = ORVAAccountUser::currentUser();
      delegate->failAllocation(number);
      start(manager);
      const LoginReport report = delegate->reports.take();
      failed = delegate->hasFailed();
      if (report.error && report.user != before) return 2;
      if (!failed && report.error) return 3;
      if (delegate->reports.count() != 0) return 4;
    }
    return manager.loginWithTicketTasks()->empty() ? fine : 5;
  }
};

TEST_F(WorkerWithoutMemory, ReportsASignInWithAPasswordOnce) {
  const auto start = [](auto& manager) { manager.loginWithParameters({{"login", "ada"}}); };
  EXPECT_EQ(statusOfSigningIn(start), fine);
}

TEST_F(WorkerWithoutMemory, ReportsASignInOverTheJSONInterfaceOnce) {
  const auto start = [](auto& manager) { manager.loginOpenIDV2WithParameters({{"login", "ada"}}); };
  EXPECT_EQ(statusOfSigningIn(start), fine);
}

TEST_F(WorkerWithoutMemory, ReportsASignInWithATicketOnce) {
  EXPECT_EQ(statusOfSigningIn([](auto& manager) { manager.loginWithTicket("T"); }), fine);
}

// The report itself is then the first to ask. Each number has a process of its own.
TEST_F(WorkerWithoutMemory, ReportsASignInThatFailsInAHostThatHasNotAskedForTheUser) {
  constexpr int over = 8;
  auto nowhere = configuration();
  nowhere.setConnectTo(kGlobalHost, {"127.0.0.1", 1});
  URLSessionConfiguration::setDefaultConfiguration(nowhere);
  ORVAAccount::sharedInstance()->setAppID("my-app");
  ORVAAccount::sharedInstance()->setAppKey("my-key");
  int status = fine;
  for (std::size_t number = 0; status == fine; ++number) {
    status = statusWithThreads(1, [number] {
      const auto delegate = std::make_shared<ForgetfulDelegate>();
      ORVAAccountLoginManager::sharedInstance()->setDelegate(delegate);
      delegate->failAllocation(number);
      signIn();
      if (!delegate->reports.take().error) return 1;
      return delegate->hasFailed() ? fine : over;
    });
  }
  EXPECT_EQ(status, over);
}

TEST_F(WorkerWithoutMemory, ReportsAPictureOnce) {
  const auto load = [](const std::string& name, std::size_t number) {
    Mailbox<bool> failures;
    std::optional<FailingAllocation> failing;
    platform::WorkerPool::shared().submit(
        platform::makeJob([&failing, number] { failing.emplace(number); }));
    ORVAAccountUser::initWithUserInfo(Dictionary{{"pic", name}})
        ->loadProfileImageDataWithCompletionBlock([&](const Picture& data, const auto& error) {
          const bool hasFailed = FailingAllocation::hasFailed();
          failing.reset();
          EXPECT_NE(data.has_value(), error != nullptr);
          failures.put(hasFailed);
        });
    return failures.take();
  };
  EXPECT_EQ(statusWithThreads(1,
                              [&] {
                                Mailbox<Picture> pictures;
                                loadPicture(pictures);
                                pictures.take();
                                for (const auto* name : {"me.png", "gone.png", "no address"}) {
                                  for (std::size_t number = 0; load(name, number);) ++number;
                                }
                                return HasFailure() ? 1 : fine;
                              }),
            fine);
}

}  // namespace
}  // namespace orx::testing
