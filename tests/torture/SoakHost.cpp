// SPDX-License-Identifier: MIT
// A host application of many threads that do everything at once: sign in and out, fetch data, lists
// and pictures, observe and look. soak.py runs it against a development service with faults that
// change, and watches it. As "soak_host CA PORT SECONDS ACCOUNTS SEED" it ends with one line of
// JSON: counts, and what it complains of.

#include <ORXAccount/ORVAAccount.h>
#include <ORXAccount/ORVAAccountAPI.h>
#include <ORXAccount/ORVAAccountConstants.h>
#include <ORXAccount/ORVAAccountLoginManager.h>
#include <ORXAccount/ORVAAccountLoginManagerDelegate.h>
#include <ORXAccount/ORVAAccountUser.h>
#include <ORXAccount/ORVAAccountUserCache.h>
#include <ORXAccount/platform/Bundle.h>
#include <ORXAccount/platform/NotificationCenter.h>
#include <ORXAccount/platform/URLSessionConfiguration.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <iostream>
#include <map>
#include <mutex>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "platform/formats/JSONSerialization.h"

namespace orx::torture {
namespace {

using namespace platform;
using Clock = std::chrono::steady_clock;

constexpr int threadCount = 32;
// A handler that has not been called by then is never called.
constexpr std::chrono::seconds patience{60};

class Complaints {
 public:
  void add(const std::string& what) {
    const std::lock_guard guard(mutex_);
    if (list_.size() < 20) list_.push_back(what);
  }
  Array list() const {
    const std::lock_guard guard(mutex_);
    return list_;
  }

 private:
  mutable std::mutex mutex_;
  Array list_;
};

Complaints& complaints() {
  static Complaints all;
  return all;
}

// Counts how often one handler is called.
class Handler {
 public:
  void call() {
    const std::lock_guard guard(mutex_);
    if (++count_ > 1) complaints().add("a handler was called a second time");
    called_.notify_all();
  }
  void wait(const std::string& operation) {
    std::unique_lock lock(mutex_);
    if (!called_.wait_for(lock, patience, [this] { return count_ > 0; })) {
      complaints().add("no handler was called: " + operation);
    }
  }

 private:
  std::mutex mutex_;
  std::condition_variable called_;
  int count_ = 0;
};

class Delegate final : public ORVAAccountLoginManagerDelegate {
 public:
  void loginManager_didLoginWithUser_error(ORVAAccountLoginManager& manager,
                                           const std::shared_ptr<ORVAAccountUser>& /*user*/,
                                           const std::shared_ptr<Error>& /*error*/) override {
    // Once this has been reported, nothing keeps a user whom another thread has replaced.
    user = manager.userOfLatestSignIn();
    handler.call();
  }
  Handler handler;
  std::shared_ptr<ORVAAccountUser> user;
};

// Follows the users by what observers are told, which need not arrive in the order of the changes.
// All are told of each change, and each change leaves the user of the one before: then everybody
// who came has gone but the last.
class Changes {
 public:
  void note(const Dictionary& information) {
    const auto came = information[ORVAAccountUserChangeNewKey].objectOf<ORVAAccountUser>();
    const auto left = information[ORVAAccountUserChangeOldKey].objectOf<ORVAAccountUser>();
    const std::lock_guard guard(mutex_);
    if (came) ++arrivals_;
    count(came, 1);
    count(left, -1);
  }

  std::int64_t arrivals() const {
    const std::lock_guard guard(mutex_);
    return arrivals_;
  }

  bool endWith(const std::shared_ptr<ORVAAccountUser>& user) const {
    std::map<std::shared_ptr<ORVAAccountUser>, int> wanted;
    if (user) wanted[user] = 1;
    const std::lock_guard guard(mutex_);
    return present_ == wanted;
  }

 private:
  void count(const std::shared_ptr<ORVAAccountUser>& user, int step) {
    if (user && (present_[user] += step) == 0) present_.erase(user);
  }

  mutable std::mutex mutex_;
  std::int64_t arrivals_ = 0;
  std::map<std::shared_ptr<ORVAAccountUser>, int> present_;
};

class Soak {
 public:
  Soak(double seconds, unsigned accounts, unsigned seed)
      : end_(Clock::now() +
             std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(seconds))),
        accounts_(accounts),
        seed_(seed) {}

  Dictionary run() {
    std::vector<std::thread> threads;
    threads.reserve(threadCount);
    for (unsigned thread = 0; thread < threadCount; ++thread) {
      threads.emplace_back([this, thread] { work(thread); });
    }
    for (auto& thread : threads) thread.join();
    checkWhoIsLeft();
    return {{"calls", calls_.load()},
            {"signIns", signIns_.load()},
            {"answers", answers_.load()},
            {"errors", errors_.load()},
            {"complaints", complaints().list()}};
  }

 private:
  void work(unsigned thread) {
    std::seed_seq seeds{seed_, thread};
    std::mt19937 random(seeds);
    while (Clock::now() < end_) {
      const auto account = "user" + std::to_string(random() % accounts_) + "@example.com";
      switch (random() % 12) {
        case 0:
          signIn(account, [&](auto& manager) {
            manager.loginWithParameters(
                {{kORVAAccountLogin, account}, {kORVAAccountPassword, "correct horse"}});
          });
          break;
        case 1:
          signIn(account, [&](auto& manager) { manager.loginWithTicket("ticket-of-" + account); });
          break;
        case 2:
          ORVAAccountLoginManager::sharedInstance()->logout();
          break;
        case 3:
          loadPicture();
          break;
        case 4:
          ORVAAccountAPI::prepareConnection();
          break;
        case 5:
          observe();
          break;
        case 6:
        case 7:
          look();
          break;
        default:
          callService(account, random() % 4);
      }
    }
  }

  template <typename Start>
  void signIn(const std::string& account, const Start& start) {
    ++calls_;
    const auto manager = ORVAAccountLoginManager::init();
    manager->setLoginWithTicketTasks(std::vector<Dictionary>{});
    const auto delegate = std::make_shared<Delegate>();
    manager->setDelegate(std::weak_ptr<ORVAAccountLoginManagerDelegate>(delegate));
    start(*manager);
    delegate->handler.wait("sign-in");
    const auto& user = delegate->user;
    if (!user) return;
    ++signIns_;
    if (user->login() != account) complaints().add("another user was signed in than " + account);
  }

  void callService(const std::string& account, unsigned which) {
    ++calls_;
    const auto api = ORVAAccountAPI::initWithOptions(
        {{kORVAAccountAppID, "demo-app"}, {kORVAAccountAppKey, "demo-key"}});
    const auto handler = std::make_shared<Handler>();
    const auto completion = [handler, this](const std::shared_ptr<ORVAAccountAPIResult>& result,
                                            const std::shared_ptr<Error>& error) {
      if ((result == nullptr) == (error == nullptr)) complaints().add("neither or both");
      ++(result ? answers_ : errors_);
      handler->call();
    };
    const auto ticket = "ticket-of-" + account;
    if (which == 0) api->getUserData_completionHandler({{kORVAAccounTicket, ticket}}, completion);
    if (which == 1) api->countryListWithCompletionHandler(completion);
    if (which == 2) {
      api->commonWithApiId_parameters_completionHandler("w000000013",
                                                        {{kORVAAccountTicket, ticket}}, completion);
    }
    if (which == 3) {
      api->loginOpenIDV2WithParameters_completionHandler(
          {{kORVAAccountOpenIDType, "example"}, {kORVAAccountOpenIDUID, "1"}}, completion);
    }
    handler->wait("call " + std::to_string(which));
  }

  void loadPicture() {
    ++calls_;
    const auto user = ORVAAccountUser::currentUser();
    if (!user) return;
    const auto handler = std::make_shared<Handler>();
    user->loadProfileImageDataWithCompletionBlock(
        [handler, this](const std::optional<Data>& data, const std::shared_ptr<Error>& error) {
          if (data.has_value() == (error != nullptr)) complaints().add("a picture and an error");
          ++(data ? answers_ : errors_);
          handler->call();
        });
    handler->wait("picture");
  }

  void observe() {
    const auto center = NotificationCenter::defaultCenter();
    const auto observation = center->addObserverForName_object_usingBlock(
        ORVAAccountUserDidChangeNotification, nullptr,
        [this](const Notification& /*notification*/) { look(); });
    std::this_thread::yield();
  }

  // Whoever is current is whole.
  void look() {
    const auto user = ORVAAccountUser::currentUser();
    if (!user) return;
    const auto login = user->login().value_or("(none)");
    if (user->email() != login || user->nickName() != login) complaints().add("torn: " + login);
  }

  void checkWhoIsLeft() {
    const auto user = ORVAAccountUser::currentUser();
    if (!changes_.endWith(user)) complaints().add("observers were told of another user at the end");
    if (changes_.arrivals() != signIns_) {
      complaints().add("observers were told of " + std::to_string(changes_.arrivals()) +
                       " sign-ins");
    }
    const auto stored = ORVAAccountUserCache::sharedInstance()->cachedUser();
    const auto isStored = user ? user->isEqualToUser(stored.get()) : stored == nullptr;
    if (!isStored) complaints().add("another user is stored than the current one");
  }

  const Clock::time_point end_;
  const unsigned accounts_;
  const unsigned seed_;
  std::atomic<std::int64_t> calls_ = 0;
  std::atomic<std::int64_t> signIns_ = 0;
  std::atomic<std::int64_t> answers_ = 0;
  std::atomic<std::int64_t> errors_ = 0;
  Changes changes_;
  const Observation observation_ =
      NotificationCenter::defaultCenter()->addObserverForName_object_usingBlock(
          ORVAAccountUserDidChangeNotification, nullptr,
          [this](const Notification& notification) { changes_.note(notification.userInfo()); });
};

void begin(const std::string& caFile, const std::string& port) {
  Bundle::mainBundle()->setBundleIdentifier("com.example.soak");
  URLSessionConfiguration configuration;
  configuration.setCaFile(caFile);
  configuration.setProxy("");
  configuration.setTimeoutIntervalForRequest(std::chrono::seconds(2));
  URLSessionConfiguration::setDefaultConfiguration(configuration);
  ORVAAccount::setServersWithGlobalHost_chinaHost_developmentHost_serviceNamespace(
      "localhost:" + port, {}, {}, {});
  ORVAAccount::sharedInstance()->initializeWithLaunchOptions_appKey_appID_isStage(
      std::nullopt, "demo-key", "demo-app", false);
}

}  // namespace
}  // namespace orx::torture

int main(int count, char** arguments) {
  if (count != 6) {
    std::cerr << "usage: soak_host CA PORT SECONDS ACCOUNTS SEED\n";
    return 2;
  }
  orx::torture::begin(arguments[1], arguments[2]);
  orx::torture::Soak soak(std::stod(arguments[3]), static_cast<unsigned>(std::stoul(arguments[4])),
                          static_cast<unsigned>(std::stoul(arguments[5])));
  std::cout << orx::platform::textWithJSONObject(soak.run()) << std::endl;
}
