// SPDX-License-Identifier: MIT
#include "torture/HostLife.h"

#include <ORXAccount/ORVAAccount.h>
#include <ORXAccount/ORVAAccountAPI.h>
#include <ORXAccount/ORVAAccountConstants.h>
#include <ORXAccount/ORVAAccountLoginManager.h>
#include <ORXAccount/ORVAAccountUser.h>
#include <ORXAccount/platform/Keychain.h>
#include <ORXAccount/platform/URLSessionConfiguration.h>
#include <execinfo.h>
#include <fcntl.h>
#include <unistd.h>

#include <chrono>
#include <condition_variable>
#include <cstdlib>
#include <exception>
#include <functional>
#include <memory>
#include <mutex>
#include <new>
#include <optional>
#include <string>
#include <utility>

#include "torture/Allocations.h"

namespace orx::torture {

namespace {

// A report that has not come by then is lost.
constexpr std::chrono::seconds patience{20};
// A call that waits for its time-out says so.
constexpr std::chrono::seconds timeout{5};
constexpr const char* done = "done";

std::string text(const Dictionary& request, std::string_view key) {
  return request[key].text().value_or(std::string());
}

// What handlers report. It allocates nothing of what is counted.
class Reports {
 public:
  void put(const std::shared_ptr<Error>& error) {
    const Spared here;
    const std::lock_guard guard(mutex_);
    ++count_;
    latest_ = error ? error->domain() + " " + std::to_string(error->code()) + ": " +
                          error->localizedDescription()
                    : done;
    arrived_.notify_one();
  }

  std::string take() {
    std::unique_lock lock(mutex_);
    if (!arrived_.wait_for(lock, patience, [this] { return latest_.has_value(); })) return "silent";
    return *std::exchange(latest_, std::nullopt);
  }

  std::int64_t count() const {
    const std::lock_guard guard(mutex_);
    return count_;
  }

 private:
  mutable std::mutex mutex_;
  std::condition_variable arrived_;
  std::optional<std::string> latest_;
  std::int64_t count_ = 0;
};

class Delegate final : public ORVAAccountLoginManagerDelegate {
 public:
  void loginManager_didLoginWithUser_error(ORVAAccountLoginManager& /*manager*/,
                                           const std::shared_ptr<ORVAAccountUser>& /*user*/,
                                           const std::shared_ptr<Error>& error) override {
    reports.put(error);
  }
  Reports reports;
};

std::string currentLogin() {
  const auto user = ORVAAccountUser::currentUser();
  return user ? user->login().value_or("(none)") : "";
}

class HostLife {
 public:
  explicit HostLife(const Dictionary& request)
      : parameters_{{kORVAAccountLogin, text(request, "login")},
                    {kORVAAccountPassword, text(request, "password")}},
        repeats_(request["repeats"].boolean().value_or(false)) {
    URLSessionConfiguration configuration;
    configuration.setCaFile(text(request, "caFile"));
    configuration.setTimeoutIntervalForRequest(timeout);
    // libcurl knows localhost itself, and this one it has to ask the resolver for (WireCalls.cpp).
    configuration.setConnectTo("localhost", {"torture.example", 0});
    URLSessionConfiguration::setDefaultConfiguration(configuration);
    ORVAAccount::setServersWithGlobalHost_chinaHost_developmentHost_serviceNamespace(
        text(request, "server"), {}, {}, {});
  }

  void restore() {
    attempt(
        "restore",
        [] {
          ORVAAccount::sharedInstance()->initializeWithLaunchOptions_appKey_appID_isStage(
              std::nullopt, "demo-key", "demo-app", false);
          return false;
        },
        nullptr);
  }

  void signIn() {
    attempt(
        "sign-in",
        [this] {
          const auto& manager = ORVAAccountLoginManager::sharedInstance();
          manager->setDelegate(std::weak_ptr<ORVAAccountLoginManagerDelegate>(delegate_));
          manager->loginWithParameters(parameters_);
          return true;
        },
        &delegate_->reports);
  }

  void loadPicture() {
    const auto user = ORVAAccountUser::currentUser();
    if (!user) return;
    attempt(
        "picture",
        [this, &user] {
          user->loadProfileImageDataWithCompletionBlock(
              [reports = pictures_](const std::optional<Data>& /*data*/,
                                    const std::shared_ptr<Error>& error) { reports->put(error); });
          return true;
        },
        pictures_.get());
  }

  void fetchList() {
    attempt(
        "list",
        [this] {
          const auto client = ORVAAccountAPI::initWithOptions(
              {{kORVAAccountAppID, "demo-app"}, {kORVAAccountAppKey, "demo-key"}});
          client->countryListWithCompletionHandler(
              [reports = lists_](const std::shared_ptr<ORVAAccountAPIResult>& result,
                                 const std::shared_ptr<Error>& error) {
                reports->put(error ? error : result->transferError());
              });
          return true;
        },
        lists_.get());
  }

  void signOut() {
    attempt(
        "sign-out",
        [] {
          ORVAAccountLoginManager::sharedInstance()->logout();
          return false;
        },
        nullptr);
  }

  Array takeSteps() { return std::move(steps_); }

 private:
  // `work` says whether a report is to come. What fails is done once more, with memory, where the
  // request asks for it, and otherwise ends the life.
  void attempt(const char* name, const std::function<bool()>& work, Reports* reports) {
    if (isOver_) return;
    Array outcomes;
    std::int64_t accepted = 0;
    const auto before = reports != nullptr ? reports->count() : 0;
    const auto begins = countedAllocations();
    for (int number = 0; number < (repeats_ ? 2 : 1); ++number) {
      bool willReport = false;
      const auto outcome = outcomeOf(work, reports, willReport);
      if (willReport) ++accepted;
      outcomes.push_back(Dictionary{{"outcome", outcome},
                                    {"user", currentLogin()},
                                    {"status", keychainStatus().lastError()}});
      isOver_ = outcome != done;
      if (!isOver_) break;
      endAllocations();
      end();
    }
    steps_.push_back(Dictionary{{"name", name},
                                {"begins", begins},
                                {"attempts", outcomes},
                                {"accepted", accepted},
                                {"reports", reports != nullptr ? reports->count() - before : 0}});
  }

  static std::string outcomeOf(const std::function<bool()>& work, Reports* reports,
                               bool& willReport);

  const Dictionary parameters_;
  const bool repeats_;
  bool isOver_ = false;  // a step has failed
  const std::shared_ptr<Delegate> delegate_ = std::make_shared<Delegate>();
  const std::shared_ptr<Reports> pictures_ = std::make_shared<Reports>();
  const std::shared_ptr<Reports> lists_ = std::make_shared<Reports>();
  Array steps_;
};

// The host's own allocations are spared, the library's on this thread are not.
class Exposed {
 public:
  explicit Exposed(std::optional<Spared>& spared) : spared_(spared) { spared_.reset(); }
  Exposed(const Exposed&) = delete;
  Exposed& operator=(const Exposed&) = delete;
  ~Exposed() { spared_.emplace(); }

 private:
  std::optional<Spared>& spared_;
};

std::optional<Spared> hostIsSpared;

std::string HostLife::outcomeOf(const std::function<bool()>& work, Reports* reports,
                                bool& willReport) {
  try {
    const Exposed library(hostIsSpared);
    willReport = work();
  } catch (const std::bad_alloc&) {
    return "std::bad_alloc";
  } catch (const std::exception& reason) {
    return std::string("thrown: ") + reason.what();
  }
  return willReport ? reports->take() : done;
}

Array textOf(const Frames& frames) {
  Array lines;
  char** const names = backtrace_symbols(frames.addresses.data(), frames.count);
  for (int index = 0; names != nullptr && index < frames.count; ++index) {
    lines.push_back(std::string(names[index]));
  }
  std::free(names);
  return lines;
}

}  // namespace

Dictionary liveInTrouble(const Dictionary& request, const FaultPlan& plan) {
  hostIsSpared.emplace();
  // Vendors and the language say there how they die, and the answer goes elsewhere.
  const int nowhere = ::open("/dev/null", O_WRONLY | O_CLOEXEC);
  dup2(nowhere, STDOUT_FILENO);
  dup2(nowhere, STDERR_FILENO);
  HostLife life(request);
  if (plan.everywhere) {
    begin(plan);
  } else {
    beginAllocations({.at = plan.at,
                      .forEver = plan.forEver,
                      .onlyOfCxx = request["onlyOfCxx"].boolean().value_or(false)});
  }
  life.restore();
  life.signIn();
  life.loadPicture();
  life.fetchList();
  if (request["signsOut"].boolean().value_or(false)) life.signOut();
  const auto counted = endAllocations();
  Array calls;
  for (const auto& name : end()) calls.push_back(name);
  const auto status = keychainStatus();
  return {{"steps", life.takeSteps()},
          {"counted", counted},
          {"calls", calls},
          {"user", currentLogin()},
          {"status", status.lastError()},
          {"description", status.description()},
          {"failed", textOf(framesOfFailure())}};
}

}  // namespace orx::torture
