// SPDX-License-Identifier: MIT
// The data of the user who holds a ticket: an answer that is read as XML, in parallel with any
// other that the same object has under way.

#include <ORXAccount/ORVAAccountAPI.h>
#include <ORXAccount/ORVAAccountConstants.h>

#include <new>
#include <utility>

#include "platform/base/Integers.h"
#include "platform/base/Wiping.h"
#include "platform/formats/JSONSerialization.h"
#include "service/AccountAPIState.h"
#include "service/Answer.h"
#include "service/SOAPCall.h"
#include "service/ServiceError.h"

namespace orx {

using namespace platform;
using namespace service;
using namespace config;

namespace {

constexpr std::string_view kXMLDataType = "XmlString";

// What the gathered elements of one answer amount to. Success is a result code that is there and 0.
Answer userDataAnswer(const Dictionary& elements) {
  const auto code = elements[kORVAAccountResultCode].text();
  auto description = elements[kORVAAccountResultDescription].text();
  if (!code || longLongValue(*code) != 0) {
    return Failure(serviceError(longLongValue(code.value_or("")), description));
  }
  Value returnData = elements[kORVAAccountResultData];
  if (elements[kORVAAccountResultDataType].text() == kXMLDataType) {
    const Wiped<std::string> xml = returnData.text().value_or("");
    returnData = XMLParser::initWithText(Data(std::string_view(xml)));
  }
  return makeResult(std::move(description), std::move(returnData));
}

}  // namespace

// The error is tested first, the status never: any body that arrived whole is parsed. The parse
// runs inside this handler, and the report begins there.
void ORVAAccountAPI::getUserData_completionHandler(
    const Dictionary& parameters, ORVAAccountAPICompletionHandler completionHandler) {
  auto replyHandler = [this, self = shared_from_this(),
                       handler =
                           required(std::move(completionHandler))](const TransferOutcome& reply) {
    if (reply.error) return report(Failure(reply.error), handler);
    std::shared_ptr<XMLParser> parser;
    try {
      parser = XMLParser::initWithData(reply.data.value_or(Data()));
      XMLTask task;
      task.parser = parser;
      task.completionHandler = std::make_shared<CompletionHandlerObject>(handler);
      const auto delegate = std::static_pointer_cast<ORVAAccountAPI>(self);
      parser->setDelegate(delegate);
      // A host may have set the list to absent. Without a task the call would never report.
      state_->tasks.appendAnyway(std::move(task));
    } catch (const std::bad_alloc&) {
      return report(Failure(outOfMemoryError()), handler);
    }
    parser->parse();
  };
  outOfMemoryError();
  startSOAPCall({.envelope = envelopes().soap12,
                 .path = kAccountServicePath,
                 .apiID = getUserDataAPIID,
                 .parameterText = textWithJSONObject(parameters)},
                {appID(), appKey()}, std::move(replyHandler));
}

std::optional<std::vector<Dictionary>> ORVAAccountAPI::parsingTasks() const {
  return state_->tasks.dictionaries();
}

void ORVAAccountAPI::setParsingTasks(const std::optional<std::vector<Dictionary>>& parsingTasks) {
  state_->tasks.setDictionaries(parsingTasks);
}

std::optional<Dictionary> ORVAAccountAPI::taskDictionaryWithParser(const XMLParser* parser) const {
  return state_->tasks.dictionaryWithParser(parser);
}

void ORVAAccountAPI::parser_foundCharacters(XMLParser& parser, std::string_view characters) {
  state_->tasks.foundCharacters(parser, characters);
}

void ORVAAccountAPI::parser_didEndElement_namespaceURI_qualifiedName(
    XMLParser& parser, std::string_view elementName,
    std::optional<std::string_view> /*namespaceURI*/,
    std::optional<std::string_view> /*qualifiedName*/) {
  state_->tasks.didEndElement(parser, elementName);
}

void ORVAAccountAPI::parser_parseErrorOccurred(XMLParser& parser,
                                               const std::shared_ptr<Error>& error) {
  state_->tasks.parseErrorOccurred(parser, error);
}

void ORVAAccountAPI::parserDidEndDocument(XMLParser& parser) {
  const auto task = state_->tasks.find(parser);
  if (!task) return;
  // A task that a host put into the list may have no callback.
  if (!task->completionHandler) return state_->tasks.remove(parser);
  Answer answer = task->parsingError
                      ? Failure(task->parsingError)
                      : answerOf([&] { return userDataAnswer(task->gathered.elements); });
  // The task goes when the handler has returned, wherever that runs.
  report(std::move(answer), task->completionHandler->handler,
         [this, self = shared_from_this(), read = task->parser] { state_->tasks.remove(*read); });
}

}  // namespace orx
