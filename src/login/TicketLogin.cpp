// Sign-in with a ticket: the service's answer holds the user's fields as an XML document, which the
// manager parses in a job of its own.

#include <ORXAccount/ORVAAccountAPI.h>
#include <ORXAccount/ORVAAccountConstants.h>
#include <ORXAccount/ORVAAccountLoginManager.h>
#include <ORXAccount/ORVAAccountUser.h>

#include <stdexcept>
#include <utility>

#include "login/LoginState.h"
#include "platform/process/Log.h"
#include "platform/queues/WorkerPool.h"

namespace orx {

using namespace platform;

ORVAAccountLoginManager::State::State()
    : ticketTasks({.parser = kLoginWithTicketXMLParser,
                   .elements = kLoginWithTicketReturnDataDictionary,
                   .parsingString = kLoginWithTicketParsingString,
                   .parsingError = kLoginWithTicketParsingError,
                   .completionHandler = std::nullopt}) {}

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

void ORVAAccountLoginManager::loginWithTicket(const std::optional<std::string>& ticket) {
  const auto client = clientForOneLogin();
  if (!ticket) throw std::invalid_argument("a ticket sign-in needs a ticket");
  auto self = std::static_pointer_cast<ORVAAccountLoginManager>(shared_from_this());
  client->getUserData_completionHandler(
      Dictionary{{std::string(kORVAAccounTicket), *ticket}},
      [self = std::move(self), ticket = *ticket](
          const std::shared_ptr<ORVAAccountAPIResult>& result,
          const std::shared_ptr<Error>& error) { self->didFetchUserData(ticket, result, error); });
}

void ORVAAccountLoginManager::didFetchUserData(const std::string& ticket,
                                               const std::shared_ptr<ORVAAccountAPIResult>& result,
                                               const std::shared_ptr<Error>& error) {
  if (error) return didLoginWithUser_error(ORVAAccountUser::currentUser(), error);
  const auto parser = result->returnData().objectOf<XMLParser>();
  if (!parser) {
    NSLog("[OrvaAccount] The return data is not XML format: " + result->returnData().description());
    return didLoginWithUser_error(ORVAAccountUser::currentUser(), nullptr);
  }
  auto self = std::static_pointer_cast<ORVAAccountLoginManager>(shared_from_this());
  // Not here: this runs inside the parse of the service's answer.
  WorkerPool::shared().submit(makeJob([self = std::move(self), parser, ticket] {
    parser->setDelegate(self);
    XMLTask task;
    task.parser = parser;
    task.elements.set(std::string(kORVAAccountTicket), ticket);
    self->state_->ticketTasks.append(std::move(task));
    parser->parse();
  }));
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

void ORVAAccountLoginManager::parserDidEndDocument(XMLParser& parser) {
  const auto task = state_->ticketTasks.find(parser);
  if (!task) return;
  state_->ticketTasks.remove(parser);
  if (!task->parsingError) {
    ORVAAccountUser::setCurrentUser(ORVAAccountUser::initWithUserInfo(task->elements));
  }
  didLoginWithUser_error(ORVAAccountUser::currentUser(), task->parsingError);
}

}  // namespace orx
