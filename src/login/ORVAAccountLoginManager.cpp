// SPDX-License-Identifier: MIT
#include <ORXAccount/ORVAAccount.h>
#include <ORXAccount/ORVAAccountAPI.h>
#include <ORXAccount/ORVAAccountConstants.h>
#include <ORXAccount/ORVAAccountLoginManager.h>
#include <ORXAccount/ORVAAccountUser.h>
#include <ORXAccount/WorkerHandler.h>
#include <ORXAccount/platform/NotificationCenter.h>

#include <cerrno>
#include <functional>
#include <new>
#include <stdexcept>
#include <utility>

#include "platform/base/Unicode.h"
#include "platform/base/Wiping.h"
#include "platform/keychain/StoreStatus.h"
#include "platform/process/ForkSafety.h"
#include "platform/process/Log.h"
#include "platform/queues/Callback.h"
#include "platform/queues/OperationQueue.h"
#include "platform/queues/WorkerPool.h"
#include "platform/storage/FileErrors.h"
#include "service/XMLTasks.h"
#include "user/CurrentUser.h"

namespace orx {

using namespace platform;
using namespace user;

struct ORVAAccountLoginManager::State {
  Guarded<std::weak_ptr<ORVAAccountLoginManagerDelegate>> delegate;
  Guarded<std::weak_ptr<ORVAAccountUser>> latest;
  service::XMLTaskList ticketTasks{{.parser = kLoginWithTicketXMLParser,
                                    .elements = kLoginWithTicketReturnDataDictionary,
                                    .parsingString = kLoginWithTicketParsingString,
                                    .parsingError = kLoginWithTicketParsingError,
                                    .completionHandler = std::nullopt}};
  // Part of the record; no operation uses it.
  [[maybe_unused]] std::optional<std::string> returnData{};
};

namespace {

// For all managers: there is one stored user.
const std::shared_ptr<OperationQueue>& storingQueue() {
  static constinit ProcessWide<std::shared_ptr<OperationQueue>> queue;
  return queue.get([] { return std::make_shared<OperationQueue>(); });
}

// On a worker nobody else would catch a lack of memory, and the process would end. Made by the
// first use, which may throw; so each sign-in uses it before it starts.
const std::shared_ptr<Error>& noMemoryToSignIn() {
  static constinit ProcessWide<std::shared_ptr<Error>> error;
  return error.get([] {
    return makeFailure(NSPOSIXErrorDomain, ENOMEM, "There is no memory to sign the user in.")
        .value();
  });
}

// A web-service client with the credentials of ORVAAccount, for one sign-in alone. Throws
// std::invalid_argument when one of them is missing.
std::shared_ptr<ORVAAccountAPI> clientForOneLogin() {
  const auto& account = ORVAAccount::sharedInstance();
  const auto appID = account->appID();
  const std::optional<Wiped<std::string>> appKey = account->appKey();
  if (!appID || !appKey) {
    throw std::invalid_argument(
        "a sign-in needs the application ID and key that ORVAAccount is initialised with");
  }
  noMemoryToSignIn();
  storingQueue();
  // As above: the report asks for the user, though the host may not have.
  ORVAAccountUser::currentUser();
  return ORVAAccountAPI::initWithOptions(
      {{kORVAAccountAppID, *appID}, {kORVAAccountAppKey, std::string_view(*appKey)}});
}

using SharedManager = std::shared_ptr<ORVAAccountLoginManager>;

SharedManager shared(ORVAAccountLoginManager& manager) {
  return std::static_pointer_cast<ORVAAccountLoginManager>(manager.shared_from_this());
}

// The report carries the user who is current at this moment: after a failure the one from before,
// and with overlapping sign-ins perhaps the other one's.
void tellDelegate(const SharedManager& manager, const std::shared_ptr<Error>& error) {
  manager->didLoginWithUser_error(ORVAAccountUser::currentUser(), error);
}

void report(const SharedManager& manager, const std::shared_ptr<Error>& error) {
  callBack(CallbackKind::Change, [=] { tellDelegate(manager, error); });
}

// False when there was no memory for the step.
template <typename Step>
bool hadMemory(const Step& step) {
  try {
    step();
    return true;
  } catch (const std::bad_alloc&) {
    return false;
  }
}

// In one piece, so that the delegate finds the user of whom observers were told just before.
void announceAndReport(const std::shared_ptr<std::optional<Notification>>& change,
                       const SharedManager& manager) {
  callBack(CallbackKind::Change, [=] {
    if (*change) NotificationCenter::defaultCenter()->postNotification(**change);
    tellDelegate(manager, nullptr);
  });
}

void makeCurrent(const std::shared_ptr<ORVAAccountUser>& user, const SharedManager& manager) {
  const bool isDone = hadMemory([&] {
    // Made first: once the user is current, nothing may be lacking to tell so. A job of its own,
    // since observers and the delegate may block, and may not hold up who is stored next.
    const auto change = std::make_shared<std::optional<Notification>>();
    auto job = makeJob([change, manager] { announceAndReport(change, manager); });
    const auto changed = changeCurrentUser(user);
    if (changed) change->emplace(*changed);
    WorkerPool::shared().submit(std::move(job));
    // Last: a log handler may block, and a sign-out meanwhile would be told before the sign-in.
    logStore(true);
  });
  if (!isDone) report(manager, noMemoryToSignIn());
}

void logNoXML(const Value& data) {
  // What the service sends about a user may hold a ticket, and a host's log goes to many places.
  const Wiped<std::string> description = data.description();
  const std::string size = std::to_string(description.size()) + " bytes of text";
  const bool isForHandler = hasLogHandler();
  GrowingSecretText line = "[OrvaAccount] The return data is not XML format: ";
  line += std::string_view(isForHandler && !data.isNull() ? size : description);
  if (!isForHandler) return NSLog(line);
  tellLogHandler(LogLevel::Warning, line);
}

// The user's fields as the service sent them. Absent when the data is no dictionary, and when there
// is no result.
std::optional<Dictionary> fieldsIn(const std::shared_ptr<ORVAAccountAPIResult>& result) {
  const Dictionary* fields = result ? result->returnData().dictionary() : nullptr;
  return fields != nullptr ? std::optional(*fields) : std::nullopt;
}

// The JSON interface writes field names with a capital; the user record knows them without. Of two
// names that become the same one, the later wins.
Dictionary withLowerCaseFirstLetters(const std::optional<Dictionary>& fields) {
  Dictionary normalised;
  for (const DictionaryEntry& field : fields.value_or(Dictionary())) {
    normalised.set(lowercasingFirstUTF16Unit(field.key), field.value);
  }
  return normalised;
}

}  // namespace

ORVAAccountLoginManagerDelegate::~ORVAAccountLoginManagerDelegate() = default;

void ORVAAccountLoginManagerDelegate::loginManager_didLoginWithUser_error(
    ORVAAccountLoginManager& /*manager*/, const std::shared_ptr<ORVAAccountUser>& /*user*/,
    const std::shared_ptr<Error>& /*error*/) {}

ORVAAccountLoginManager::ORVAAccountLoginManager() : state_(std::make_unique<State>()) {}

ORVAAccountLoginManager::~ORVAAccountLoginManager() = default;

const std::shared_ptr<ORVAAccountLoginManager>& ORVAAccountLoginManager::sharedInstance() {
  static constinit ProcessWide<std::shared_ptr<ORVAAccountLoginManager>> instance;
  return instance.get([] {
    auto manager = init();
    manager->setLoginWithTicketTasks(std::vector<Dictionary>());
    return manager;
  });
}

std::shared_ptr<ORVAAccountLoginManager> ORVAAccountLoginManager::init() {
  return std::shared_ptr<ORVAAccountLoginManager>(new ORVAAccountLoginManager);
}

void ORVAAccountLoginManager::setLoginServerIsCN(bool isCN) {
  ORVAAccountAPI::setTargetServerWithIsCN(isCN);
}

bool ORVAAccountLoginManager::loginServerIsCN() { return ORVAAccountAPI::targetServerIsCN(); }

std::shared_ptr<ORVAAccountLoginManagerDelegate> ORVAAccountLoginManager::delegate() const {
  return state_->delegate.get().lock();
}

void ORVAAccountLoginManager::setDelegate(
    const std::weak_ptr<ORVAAccountLoginManagerDelegate>& delegate) {
  state_->delegate.set(delegate);
}

std::shared_ptr<ORVAAccountUser> ORVAAccountLoginManager::userOfLatestSignIn() const {
  return state_->latest.get().lock();
}

// Each handler below keeps the manager alive until the sign-in has been reported. They are the
// library's own work, which would hold up the loop of the host's executor.

void ORVAAccountLoginManager::loginWithParameters(const Dictionary& parameters) {
  clientForOneLogin()->login_completionHandler(
      parameters,
      WorkerHandler([this, self = shared_from_this()](const auto& result, const auto& error) {
        finishLogin([&] { return fieldsIn(result); }, error);
      }));
}

void ORVAAccountLoginManager::loginOpenIDWithParameters(const Dictionary& parameters) {
  clientForOneLogin()->loginOpenID_completionHandler(
      parameters,
      WorkerHandler([this, self = shared_from_this()](const auto& result, const auto& error) {
        finishLogin([&] { return fieldsIn(result); }, error);
      }));
}

void ORVAAccountLoginManager::loginOpenIDV2WithParameters(const Dictionary& parameters) {
  clientForOneLogin()->loginOpenIDV2WithParameters_completionHandler(
      parameters,
      WorkerHandler([this, self = shared_from_this()](const auto& result, const auto& error) {
        finishLogin([&] { return withLowerCaseFirstLetters(fieldsIn(result)); }, error);
      }));
}

void ORVAAccountLoginManager::loginWithTicket(std::string_view ticket) {
  clientForOneLogin()->getUserData_completionHandler(
      {{kORVAAccounTicket, ticket}},
      WorkerHandler(
          [this, self = shared_from_this(), ticket = Wiped<std::string>(ticket)](
              const auto& result, const auto& error) { didFetchUserData(ticket, result, error); }));
}

void ORVAAccountLoginManager::didFetchUserData(const std::string& ticket,
                                               const std::shared_ptr<ORVAAccountAPIResult>& result,
                                               const std::shared_ptr<Error>& error) {
  if (error) return report(shared(*this), error);
  const auto parser = result->returnData().objectOf<XMLParser>();
  if (!parser) {
    // Data that is no XML is reported without an error and without a change of the user, also when
    // the line is lost for want of memory.
    hadMemory([&] { logNoXML(result->returnData()); });
    return report(shared(*this), nullptr);
  }
  // In a job of its own: this function runs inside the parse of the service's answer, which would
  // stay in memory until the delegate has returned.
  const bool isDone = hadMemory([&] {
    WorkerPool::shared().submit(
        makeJob([this, self = shared_from_this(), parser, ticket = Wiped<std::string>(ticket)] {
          parse(parser, ticket);
        }));
  });
  if (!isDone) report(shared(*this), noMemoryToSignIn());
}

void ORVAAccountLoginManager::parse(const std::shared_ptr<XMLParser>& parser,
                                    const std::string& ticket) {
  const bool isDone = hadMemory([&] {
    const auto delegate = shared(*this);
    parser->setDelegate(delegate);
    service::XMLTask task;
    task.parser = parser;
    task.gathered.elements.set(kORVAAccountTicket, ticket);
    state_->ticketTasks.append(std::move(task));
  });
  if (!isDone) return report(shared(*this), noMemoryToSignIn());
  parser->parse();
}

// How a sign-in ends, but for a ticket's data that is no XML.
void ORVAAccountLoginManager::finishLogin(
    const std::function<std::optional<Dictionary>()>& userInfo,
    const std::shared_ptr<Error>& error) {
  if (error) return report(shared(*this), error);
  const bool isDone = hadMemory([&] {
    const auto user = ORVAAccountUser::initWithUserInfo(userInfo());
    state_->latest.set(user);
    // Storing can wait for a disk or a lock. In one queue, the sign-ins that wait hold one worker
    // together rather than one each.
    storingQueue()->addOperationWithBlock(
        [user, manager = shared(*this)] { makeCurrent(user, manager); });
  });
  if (!isDone) report(shared(*this), noMemoryToSignIn());
}

void ORVAAccountLoginManager::logout() { ORVAAccountUser::setCurrentUser(nullptr); }

void ORVAAccountLoginManager::didLoginWithUser_error(const std::shared_ptr<ORVAAccountUser>& user,
                                                     const std::shared_ptr<Error>& error) {
  if (const auto receiver = delegate()) {
    receiver->loginManager_didLoginWithUser_error(*this, user, error);
  }
}

std::optional<std::vector<Dictionary>> ORVAAccountLoginManager::loginWithTicketTasks() const {
  return state_->ticketTasks.dictionaries();
}

void ORVAAccountLoginManager::setLoginWithTicketTasks(
    const std::optional<std::vector<Dictionary>>& loginWithTicketTasks) {
  state_->ticketTasks.setDictionaries(loginWithTicketTasks);
}

std::optional<Dictionary> ORVAAccountLoginManager::taskDictionaryWithXMLParser(
    const XMLParser* parser) const {
  return state_->ticketTasks.dictionaryWithParser(parser);
}

void ORVAAccountLoginManager::parser_foundCharacters(XMLParser& parser,
                                                     std::string_view characters) {
  state_->ticketTasks.foundCharacters(parser, characters);
}

void ORVAAccountLoginManager::parser_didEndElement_namespaceURI_qualifiedName(
    XMLParser& parser, std::string_view elementName,
    std::optional<std::string_view> /*namespaceURI*/,
    std::optional<std::string_view> /*qualifiedName*/) {
  state_->ticketTasks.didEndElement(parser, elementName);
}

void ORVAAccountLoginManager::parser_parseErrorOccurred(XMLParser& parser,
                                                        const std::shared_ptr<Error>& error) {
  state_->ticketTasks.parseErrorOccurred(parser, error);
}

// The task goes first, so that a delegate finds the list without it.
void ORVAAccountLoginManager::parserDidEndDocument(XMLParser& parser) {
  const auto task = state_->ticketTasks.find(parser);
  if (!task) return;
  state_->ticketTasks.remove(parser);
  finishLogin([&] { return task->gathered.elements; }, task->parsingError);
}

}  // namespace orx
