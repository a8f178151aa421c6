// SPDX-License-Identifier: MIT
#pragma once

#include <ORXAccount/platform/Export.h>
#include <ORXAccount/platform/NotificationCenter.h>
#include <ORXAccount/platform/Object.h>
#include <ORXAccount/platform/URL.h>
#include <ORXAccount/platform/Value.h>

#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace orx {

// The library's entry point: holds the application's credentials and restores the user of the last
// run. Its properties may be read and set from any thread, though they are meant to be set once at
// start-up.
class ORX_EXPORT ORVAAccount final : public Object {
 public:
  // Made on first use and never destroyed.
  static const std::shared_ptr<ORVAAccount>& sharedInstance();

  // Lets the whole process call these servers instead of those that the library was built with. A
  // host is a name or an IPv4 address, with ":PORT" where that is not 443. Without a China or a
  // development host, `globalHost` stands for it; without a namespace, the one that was built in is
  // sent. To be set before initialize... and before any call: the first use settles the servers,
  // and others can be set no more (the same ones again may be). That, and text that is no host or
  // namespace, throws std::invalid_argument and changes nothing. A namespace holds letters, digits
  // and ._~:/?#@!$'()*+,=- only.
  static void setServersWithGlobalHost_chinaHost_developmentHost_serviceNamespace(
      std::string_view globalHost, std::optional<std::string_view> chinaHost,
      std::optional<std::string_view> developmentHost,
      std::optional<std::string_view> serviceNamespace);

  // Keeps the credentials, sets the two URLs, and makes the stored user current, which posts
  // ORVAAccountUserDidChangeNotification when there is one (its observers run inside this call).
  // `launchOptions` are ignored. Nothing is checked: the service says what it thinks of the
  // credentials; absent ones make sign-ins throw. May be called again.
  //
  // Reads and writes the stores, so it waits for the disk. Where another process holds a lock or
  // the keyring is silent it waits up to 2 seconds for each call on a store, ten times at most;
  // for 120 seconds only where the host has allowed prompts and the keyring shows one. It never
  // fails: a user who cannot be restored does not become current, and keychainStatus() says why.
  // Where the stores cannot be read (locked, out of reach, damaged), the current user and both
  // stores stay as they are: a second initialisation signs nobody out for that. After
  // std::bad_alloc some of it may have been done, and it can be called again.
  void initializeWithLaunchOptions_appKey_appID_isStage(
      const std::optional<Dictionary>& launchOptions, std::optional<std::string> appKey,
      std::optional<std::string> appID, bool isStage);

  bool isStage() const;
  void setIsStage(bool isStage);
  // Absent until set.
  std::optional<std::string> appID() const;
  void setAppID(std::optional<std::string> appID);
  std::optional<std::string> appKey() const;
  void setAppKey(std::optional<std::string> appKey);
  // The endpoints of the development server in stage mode, else of the global production server;
  // absent before initialisation. They only report: no call reads them.
  std::optional<URL> lumCusInfoURL() const;
  void setLumCusInfoURL(std::optional<URL> lumCusInfoURL);
  std::optional<URL> orvaServiceURL() const;
  void setOrvaServiceURL(std::optional<URL> orvaServiceURL);

  ~ORVAAccount() override;

  // From here on: what the library itself calls; not for hosts.

  // Observes the change of the current user; does nothing.
  void didUser(const Notification& notification);

 private:
  ORVAAccount();
  struct State;
  std::unique_ptr<State> state_;
};

}  // namespace orx
