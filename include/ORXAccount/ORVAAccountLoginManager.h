// SPDX-License-Identifier: MIT
#pragma once

#include <ORXAccount/ORVAAccountLoginManagerDelegate.h>
#include <ORXAccount/platform/Error.h>
#include <ORXAccount/platform/Export.h>
#include <ORXAccount/platform/Object.h>
#include <ORXAccount/platform/Value.h>
#include <ORXAccount/platform/XMLParser.h>

#include <concepts>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace orx {

class ORVAAccountAPIResult;
class ORVAAccountUser;

// Signs users in and out. A sign-in returns at once. When it succeeds it makes the new user current
// (see ORVAAccountUser::setCurrentUser: the user is stored and the change announced), and then its
// outcome goes to the delegate; both happen on a background worker, the telling of observers and of
// the delegate also where the host's executor brings it (CallbackExecutor.h). Sign-ins are not
// queued: several may be under way, and each reports when its own answer has come. They cannot be
// cancelled. Where there is no memory to make the user current, the outcome is an error of
// NSPOSIXErrorDomain with the code ENOMEM, and the user the one from before.
//
// A sign-in throws std::invalid_argument on the calling thread, and sends nothing, when ORVAAccount
// has no application ID or key, and when its parameters cannot be sent (see ORVAAccountAPI). Where
// the system has no thread or memory for it, it throws std::system_error or std::bad_alloc there,
// and the delegate hears nothing. Safe to use from any thread. The answers have the limits that
// ORVAAccountAPI names, and a ticket's user data those of XMLParser.
class ORX_EXPORT ORVAAccountLoginManager final : public Object, public XMLParserDelegate {
 public:
  // Made on first use and never destroyed.
  static const std::shared_ptr<ORVAAccountLoginManager>& sharedInstance();
  // A manager of one's own has no task list: of its ticket sign-ins only those are reported that
  // fail before there is a record, unless setLoginWithTicketTasks() gives it an empty one.
  static std::shared_ptr<ORVAAccountLoginManager> init();

  // The target server flag of ORVAAccountAPI; the manager keeps no copy.
  static void setLoginServerIsCN(bool isCN);
  static bool loginServerIsCN();

  // Null when none is set or the one that was set is gone; outcomes are then dropped.
  std::shared_ptr<ORVAAccountLoginManagerDelegate> delegate() const;
  void setDelegate(const std::weak_ptr<ORVAAccountLoginManagerDelegate>& delegate);
  // A delegate that nobody else holds, as in setDelegate(std::make_shared<Mine>()), would be gone
  // before the first report.
  template <std::derived_from<ORVAAccountLoginManagerDelegate> Delegate>
  void setDelegate(std::shared_ptr<Delegate>&& keepItInAVariable) = delete;

  // With login name and password, under kORVAAccountLogin and kORVAAccountPassword. The service
  // refuses either with a "&" or "<" in it without a reason; see ORVAAccountAPI for how to check.
  void loginWithParameters(const Dictionary& parameters);
  // With an identity of another provider, under kORVAAccountOpenIDType and kORVAAccountOpenIDUID.
  void loginOpenIDWithParameters(const Dictionary& parameters);
  // The same over the service's JSON interface, which always is the global server's.
  void loginOpenIDV2WithParameters(const Dictionary& parameters);
  // With a ticket issued elsewhere; it is sent as it stands, empty text too. Where the service
  // answers it with data that is no XML, the delegate gets no error and the current user stays.
  void loginWithTicket(std::string_view ticket);

  // The record that this manager's latest sign-in without an error made, which is in memory at
  // least until that has been reported; else null. With a manager for each sign-in, as Calls.h has
  // them, it tells sign-ins apart that overlap: the user of a report can be another one's by then.
  std::shared_ptr<ORVAAccountUser> userOfLatestSignIn() const;

  // Signs out on this machine: nobody is current, and what is stored of the user is removed. What
  // could not be removed (a locked keyring, a disk that refuses), keychainStatus() tells. Sends
  // nothing and reports nothing to the delegate. When nobody is signed in it changes nothing, but
  // removes what the sign-out before had to leave. It waits for the stores as
  // ORVAAccountUser::setCurrentUser does, five times 2 seconds at most. After
  // std::bad_alloc the user is still current, and it can be called again.
  void logout();

  ~ORVAAccountLoginManager() override;

  // From here on: what the library itself calls while a sign-in is under way; not for hosts.

  // Hands one outcome to the delegate; drops it when there is none.
  void didLoginWithUser_error(const std::shared_ptr<ORVAAccountUser>& user,
                              const std::shared_ptr<Error>& error);
  // The ticket sign-ins whose user data is being parsed at this moment: a snapshot of their task
  // dictionaries, absent when the manager has no list.
  std::optional<std::vector<Dictionary>> loginWithTicketTasks() const;
  void setLoginWithTicketTasks(const std::optional<std::vector<Dictionary>>& loginWithTicketTasks);
  // The task of the ticket sign-in that this parser reads, found by the parser's identity; absent
  // when there is none.
  std::optional<Dictionary> taskDictionaryWithXMLParser(const XMLParser* parser) const;
  // Reports of the parser of a ticket sign-in. A parser without a task here changes nothing.
  void parser_foundCharacters(XMLParser& parser, std::string_view characters) override;
  void parser_didEndElement_namespaceURI_qualifiedName(
      XMLParser& parser, std::string_view elementName, std::optional<std::string_view> namespaceURI,
      std::optional<std::string_view> qualifiedName) override;
  void parser_parseErrorOccurred(XMLParser& parser, const std::shared_ptr<Error>& error) override;
  void parserDidEndDocument(XMLParser& parser) override;

 private:
  ORVAAccountLoginManager();
  void didFetchUserData(const std::string& ticket,
                        const std::shared_ptr<ORVAAccountAPIResult>& result,
                        const std::shared_ptr<Error>& error);
  void parse(const std::shared_ptr<XMLParser>& parser, const std::string& ticket);
  void finishLogin(const std::function<std::optional<Dictionary>()>& userInfo,
                   const std::shared_ptr<Error>& error);
  struct State;

  std::unique_ptr<State> state_;
};

}  // namespace orx
