// The data of the user who holds a ticket: an answer that is read as XML, in parallel with any
// other that the same object has under way.

#include <ORXAccount/ORVAAccountAPI.h>
#include <ORXAccount/ORVAAccountConstants.h>

#include <utility>

#include "platform/base/Integers.h"
#include "service/Answer.h"
#include "service/CompletionHandler.h"
#include "service/ORVAAccountAPITasks.h"
#include "service/SOAPCall.h"
#include "service/ServiceError.h"

namespace orx {

using namespace platform;

namespace {

constexpr std::string_view kXMLDataType = "XmlString";

std::optional<std::string> textOf(const Dictionary& elements, std::string_view name) {
  const std::string* text = elements[name].string();
  return text != nullptr ? std::optional(*text) : std::nullopt;
}

// What the gathered elements of one answer amount to. Success is a result code that is there and 0.
void reportElements(const Dictionary& elements, const ORVAAccountAPICompletionHandler& handler) {
  const auto code = textOf(elements, kORVAAccountResultCode);
  auto description = textOf(elements, kORVAAccountResultDescription);
  if (!code || longLongValue(*code) != 0) {
    return handler(nullptr, serviceError(longLongValue(code.value_or("")), description));
  }
  Value returnData = elements[kORVAAccountResultData];
  if (textOf(elements, kORVAAccountResultDataType) == kXMLDataType) {
    const auto xml = textOf(elements, kORVAAccountResultData).value_or("");
    returnData = XMLParser::initWithText(Data(std::string_view(xml)));
  }
  handler(makeResult(std::move(description), std::move(returnData)), nullptr);
}

}  // namespace

void ORVAAccountAPI::getUserData_completionHandler(
    const std::optional<Dictionary>& parameters,
    ORVAAccountAPICompletionHandler completionHandler) {
  auto self = std::static_pointer_cast<ORVAAccountAPI>(shared_from_this());
  auto answerHandler = [self, handler = required(std::move(completionHandler))](
                           const std::optional<Data>& data,
                           const std::shared_ptr<HTTPURLResponse>& /*response*/,
                           const std::shared_ptr<Error>& error) {
    if (error) return handler(nullptr, error);
    const auto parser = XMLParser::initWithData(data.value_or(Data()));
    parser->setDelegate(self);
    XMLTask task;
    task.parser = parser;
    task.completionHandler = std::make_shared<CompletionHandlerObject>(handler);
    // Should the host have taken the list away, the call must report all the same.
    self->tasks_->list.appendAnyway(std::move(task));
    parser->parse();
  };
  startSOAPCall({.envelope = soap12_request_pattern,
                 .path = kAccountServicePath,
                 .apiID = getUserDataAPIID,
                 .parameterText = parameterText(parameters)},
                {appID_, appKey_}, std::move(answerHandler));
}

std::optional<Dictionary> ORVAAccountAPI::taskDictionaryWithParser(const XMLParser* parser) const {
  return tasks_->list.dictionaryWithParser(parser);
}

void ORVAAccountAPI::parser_foundCharacters(XMLParser& parser, std::string_view characters) {
  tasks_->list.foundCharacters(parser, characters);
}

void ORVAAccountAPI::parser_didEndElement_namespaceURI_qualifiedName(
    XMLParser& parser, std::string_view elementName,
    std::optional<std::string_view> /*namespaceURI*/,
    std::optional<std::string_view> /*qualifiedName*/) {
  tasks_->list.didEndElement(parser, elementName);
}

void ORVAAccountAPI::parser_parseErrorOccurred(XMLParser& parser,
                                               const std::shared_ptr<Error>& error) {
  tasks_->list.parseErrorOccurred(parser, error);
}

void ORVAAccountAPI::parserDidEndDocument(XMLParser& parser) {
  const auto task = tasks_->list.find(parser);
  if (!task) return;
  // A task that a host put there may have no callback.
  if (const auto& callback = task->completionHandler; callback && task->parsingError) {
    callback->handler(nullptr, task->parsingError);
  } else if (callback) {
    reportElements(task->elements, callback->handler);
  }
  tasks_->list.remove(parser);
}

}  // namespace orx
