// SPDX-License-Identifier: MIT
#include "Session.h"

#include <unistd.h>

#include <cstdlib>
#include <future>
#include <sstream>
#include <utility>

#include "Failure.h"
#include "Output.h"
#include "Progress.h"

namespace tool {
namespace {

std::string nameOf(const std::shared_ptr<orx::ORVAAccountUser>& user) {
  if (!user) return "nobody";
  if (const auto login = user->login()) return *login;
  return user->cusID().value_or("a user without a name");
}

void tellNotification(const orx::Notification& notification) {
  const auto user = [&](std::string_view key) {
    return nameOf(notification.userInfo()[key].objectOf<orx::ORVAAccountUser>());
  };
  printMessage("observer: " + notification.name() + ": " + user(orx::ORVAAccountUserChangeOldKey) +
               " -> " + user(orx::ORVAAccountUserChangeNewKey));
}

void tellReport(const std::shared_ptr<orx::ORVAAccountUser>& user,
                const std::shared_ptr<orx::Error>& error) {
  std::ostringstream line;
  line << "delegate: didLoginWithUser " << nameOf(user) << ", error ";
  if (error) {
    line << error->domain() << ' ' << error->code() << " \"" << error->localizedDescription()
         << '"';
  } else {
    line << "none";
  }
  printMessage(line.str());
}

struct Report {
  std::shared_ptr<orx::ORVAAccountUser> user;
  std::shared_ptr<orx::Error> error;
};

struct Answer {
  std::shared_ptr<orx::ORVAAccountAPIResult> result;
  std::shared_ptr<orx::Error> error;
};

struct Picture {
  std::optional<orx::Data> data;
  std::shared_ptr<orx::Error> error;
};

template <typename Outcome>
Outcome waitFor(std::future<Outcome> outcome, const char* what) {
  const Progress progress(what);
  return outcome.get();
}

void requireStored(const std::shared_ptr<orx::ORVAAccountUser>& user) {
  const Progress progress("waiting for the store of the user");
  const auto stored = orx::ORVAAccountUserCache::sharedInstance()->cachedUser();
  const bool nothingToCompare = stored && !user->userInfo();
  if (nothingToCompare || (stored && stored->isEqualToUser(user.get()))) return;
  throw Failure{ExitCode::Storage,
                "signed in as " + nameOf(user) +
                    ", but this could not be stored: the next start will not know it"};
}

// Whether somebody can see a window, and sits at the terminal that this was called on.
bool somebodyCanBeAsked() {
  const bool hasDisplay =
      std::getenv("WAYLAND_DISPLAY") != nullptr || std::getenv("DISPLAY") != nullptr;
  return hasDisplay && isatty(STDERR_FILENO) == 1;
}

}  // namespace

class Session::Delegate final : public orx::ORVAAccountLoginManagerDelegate {
 public:
  explicit Delegate(bool verbose) : verbose_(verbose) {}

  std::future<Report> report() { return report_.get_future(); }

  void loginManager_didLoginWithUser_error(orx::ORVAAccountLoginManager&,
                                           const std::shared_ptr<orx::ORVAAccountUser>& user,
                                           const std::shared_ptr<orx::Error>& error) override {
    if (verbose_) tellReport(user, error);
    report_.set_value({user, error});
  }

 private:
  bool verbose_;
  std::promise<Report> report_;
};

Session::Session(const GlobalOptions& options)
    : delegate_(std::make_shared<Delegate>(options.verbose)) {
  orx::Bundle::mainBundle()->setBundleIdentifier(options.identifier);
  orx::setKeychainPromptsAllowed(somebodyCanBeAsked());
  orx::URLSessionConfiguration::setDefaultConfiguration(urlSessionConfiguration(options));
  if (options.host) {
    orx::ORVAAccount::setServersWithGlobalHost_chinaHost_developmentHost_serviceNamespace(
        *options.host, options.chinaHost, options.stageHost, options.serviceNamespace);
  }
  orx::ORVAAccountLoginManager::setLoginServerIsCN(options.china);
  orx::ORVAAccountLoginManager::sharedInstance()->setDelegate(delegate_);
  if (options.verbose) {
    observation_ = orx::NotificationCenter::defaultCenter()->addObserverForName_object_usingBlock(
        orx::ORVAAccountUserDidChangeNotification, nullptr, tellNotification);
  }
  const Progress progress("waiting for the store of the user");
  orx::ORVAAccount::sharedInstance()->initializeWithLaunchOptions_appKey_appID_isStage(
      std::nullopt, options.appKey, options.appID, options.stage);
}

Session::~Session() = default;

std::shared_ptr<orx::ORVAAccountUser> Session::signIn(
    const std::function<void(orx::ORVAAccountLoginManager&)>& start) {
  start(*orx::ORVAAccountLoginManager::sharedInstance());
  const Report report = waitFor(delegate_->report(), "signing in");
  if (report.error) throw failureOf(report.error);
  if (!report.user) throw Failure{ExitCode::Refused, "the service named no user"};
  requireStored(report.user);
  return report.user;
}

std::shared_ptr<orx::ORVAAccountAPIResult> Session::call(
    const std::function<void(orx::ORVAAccountAPI&, orx::ORVAAccountAPICompletionHandler)>& start) {
  const auto& account = orx::ORVAAccount::sharedInstance();
  orx::Dictionary options;
  if (const auto appID = account->appID()) options.set(orx::kORVAAccountAppID, *appID);
  if (const auto key = account->appKey()) options.set(orx::kORVAAccountAppKey, *key);
  const auto api = orx::ORVAAccountAPI::initWithOptions(options);
  auto answer = std::make_shared<std::promise<Answer>>();
  start(*api, [answer](const std::shared_ptr<orx::ORVAAccountAPIResult>& result,
                       const std::shared_ptr<orx::Error>& error) {
    answer->set_value({result, error});
  });
  Answer outcome = waitFor(answer->get_future(), "waiting for the service");
  if (outcome.error) throw failureOf(outcome.error);
  return outcome.result;
}

orx::Data Session::loadPicture(orx::ORVAAccountUser& user) {
  auto answer = std::make_shared<std::promise<Picture>>();
  user.loadProfileImageDataWithCompletionBlock(
      [answer](const std::optional<orx::Data>& data, const std::shared_ptr<orx::Error>& error) {
        answer->set_value({data, error});
      });
  Picture picture = waitFor(answer->get_future(), "loading the picture");
  if (picture.error) throw failureOf(picture.error);
  return picture.data.value_or(orx::Data());
}

std::shared_ptr<orx::ORVAAccountUser> Session::signedInUser() {
  auto user = orx::ORVAAccountUser::currentUser();
  if (!user) throw nobodySignedIn();
  return user;
}

}  // namespace tool
