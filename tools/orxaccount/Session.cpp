// SPDX-License-Identifier: MIT
#include "Session.h"

#include <ORXAccount/LogHandler.h>
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

// Without a handler the library writes to standard error what answers a ticket, and that may hold
// the new one.
void takeLogLines(bool verbose) {
  orx::setLogHandler([verbose](orx::LogLevel, std::string_view line) {
    if (verbose) printMessage("log: " + std::string(line));
  });
}

struct Report {
  std::shared_ptr<orx::ORVAAccountUser> user;
  std::shared_ptr<orx::Error> error;
};

// Throws a Failure for the call's error.
template <typename T>
T resultOf(orx::Call<T> call, const char* what) {
  const Progress progress(what);
  auto outcome = std::move(call).orError().future().get();
  if (outcome.error) throw failureOf(outcome.error);
  return std::move(outcome.value);
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

  Report waitForReport() {
    const Progress progress("signing in");
    return report_.get_future().get();
  }

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
  takeLogLines(options.verbose);
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
  const Report report = delegate_->waitForReport();
  if (report.error) throw failureOf(report.error);
  if (!report.user) throw Failure{ExitCode::Refused, "the service named no user"};
  requireStored(report.user);
  return report.user;
}

std::shared_ptr<orx::ORVAAccountAPI> Session::client() const {
  const auto& account = orx::ORVAAccount::sharedInstance();
  orx::Dictionary options;
  if (const auto appID = account->appID()) options.set(orx::kORVAAccountAppID, *appID);
  if (const auto key = account->appKey()) options.set(orx::kORVAAccountAppKey, *key);
  return orx::ORVAAccountAPI::initWithOptions(options);
}

std::shared_ptr<orx::ORVAAccountAPIResult> Session::call(orx::calls::ResultCall call) const {
  return resultOf(std::move(call), "waiting for the service");
}

orx::Data Session::loadPicture(std::shared_ptr<orx::ORVAAccountUser> user) const {
  return resultOf(orx::calls::profileImageData(std::move(user)), "loading the picture");
}

std::shared_ptr<orx::ORVAAccountUser> Session::signedInUser() {
  auto user = orx::ORVAAccountUser::currentUser();
  if (!user) throw nobodySignedIn();
  return user;
}

}  // namespace tool
