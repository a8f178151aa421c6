#include "service/XMLTasks.h"

#include <algorithm>
#include <utility>

#include "platform/process/ForkSafety.h"

namespace orx::service {

using namespace platform;

Dictionary XMLTaskList::dictionaryOf(const XMLTask& task) const {
  Dictionary dictionary;
  if (keys_.completionHandler && task.completionHandler) {
    dictionary.set(*keys_.completionHandler, task.completionHandler);
  }
  dictionary.set(keys_.parser, task.parser);
  dictionary.set(keys_.elements, task.elements);
  if (task.parsingString) dictionary.set(keys_.parsingString, *task.parsingString);
  if (task.parsingError) dictionary.set(keys_.parsingError, task.parsingError);
  return dictionary;
}

XMLTask XMLTaskList::taskOf(const Dictionary& dictionary) const {
  XMLTask task;
  task.parser = dictionary[keys_.parser].objectOf<XMLParser>();
  if (const auto* elements = dictionary[keys_.elements].dictionary()) task.elements = *elements;
  if (const auto* text = dictionary[keys_.parsingString].string()) task.parsingString = *text;
  task.parsingError = dictionary[keys_.parsingError].objectOf<Error>();
  if (keys_.completionHandler) {
    task.completionHandler =
        dictionary[*keys_.completionHandler].objectOf<CompletionHandlerObject>();
  }
  return task;
}

std::optional<std::vector<Dictionary>> XMLTaskList::dictionaries() {
  const BriefSection section;
  if (!tasks_) return std::nullopt;
  std::vector<Dictionary> all;
  all.reserve(tasks_->size());
  for (const XMLTask& task : *tasks_) all.push_back(dictionaryOf(task));
  return all;
}

void XMLTaskList::setDictionaries(const std::optional<std::vector<Dictionary>>& dictionaries) {
  std::optional<std::vector<XMLTask>> tasks;
  if (dictionaries) {
    tasks.emplace();
    for (const Dictionary& dictionary : *dictionaries) tasks->push_back(taskOf(dictionary));
  }
  const BriefSection section;
  tasks_.swap(tasks);
}

std::optional<Dictionary> XMLTaskList::dictionaryWithParser(const XMLParser* parser) {
  const BriefSection section;
  const XMLTask* task = locate(parser);
  if (task == nullptr) return std::nullopt;
  return dictionaryOf(*task);
}

void XMLTaskList::append(XMLTask task) {
  const BriefSection section;
  if (tasks_) tasks_->push_back(std::move(task));
}

void XMLTaskList::appendAnyway(XMLTask task) {
  const BriefSection section;
  if (!tasks_) tasks_.emplace();
  tasks_->push_back(std::move(task));
}

std::optional<XMLTask> XMLTaskList::find(const XMLParser& parser) {
  const BriefSection section;
  const XMLTask* task = locate(&parser);
  if (task == nullptr) return std::nullopt;
  return XMLTask{.parser = task->parser,
                 .elements = task->elements,
                 .parsingString = {},
                 .parsingError = task->parsingError,
                 .completionHandler = task->completionHandler};
}

void XMLTaskList::remove(const XMLParser& parser) {
  // Destroyed after the section: what its callback holds is the host's.
  std::optional<XMLTask> removed;
  const BriefSection section;
  if (XMLTask* task = locate(&parser)) {
    removed = std::move(*task);
    tasks_->erase(tasks_->begin() + (task - tasks_->data()));
  }
}

void XMLTaskList::foundCharacters(const XMLParser& parser, std::string_view characters) {
  const BriefSection section;
  XMLTask* task = locate(&parser);
  if (task == nullptr) return;
  if (!task->parsingString) task->parsingString.emplace();
  task->parsingString->append(characters);
}

void XMLTaskList::didEndElement(const XMLParser& parser, std::string_view elementName) {
  // Destroyed after the section: a host may have put an object of its own under this name.
  Value replaced;
  const BriefSection section;
  XMLTask* task = locate(&parser);
  if (task == nullptr || !task->parsingString) return;
  replaced = task->elements[elementName];
  task->elements.set(elementName, *std::move(task->parsingString));
  task->parsingString.reset();
}

void XMLTaskList::parseErrorOccurred(const XMLParser& parser, const std::shared_ptr<Error>& error) {
  // After the swap this holds the error from before, which is destroyed after the section.
  std::shared_ptr<Error> replaced = error;
  const BriefSection section;
  if (XMLTask* task = locate(&parser)) task->parsingError.swap(replaced);
}

XMLTask* XMLTaskList::locate(const XMLParser* parser) {
  if (!tasks_ || parser == nullptr) return nullptr;
  const auto found =
      std::ranges::find(*tasks_, parser, [](const XMLTask& task) { return task.parser.get(); });
  return found == tasks_->end() ? nullptr : &*found;
}

}  // namespace orx::service
