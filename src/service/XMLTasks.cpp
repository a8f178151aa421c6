#include "service/XMLTasks.h"

#include <algorithm>
#include <mutex>
#include <utility>

#include "platform/process/ForkSafeMutex.h"
#include "platform/process/ForkSafety.h"

namespace orx::service {

using namespace platform;

namespace {

// Lets a callback stand in a task dictionary.
class CompletionHandlerObject final : public Object {
 public:
  explicit CompletionHandlerObject(ORVAAccountAPICompletionHandler callback)
      : handler(std::move(callback)) {}

  const ORVAAccountAPICompletionHandler handler;
};

// One for all lists, held for the length of a look-up or an append: a mutex in every list could not
// be kept whole across a fork.
ForkSafeMutex& mutex() {
  static constinit ProcessWide<ForkSafeMutex> shared;
  return shared.get([] { return ForkSafeMutex(ForkSafeMutex::Section::Brief); });
}

}  // namespace

Dictionary XMLTaskList::dictionaryOf(const XMLTask& task) const {
  Dictionary dictionary;
  if (keys_.completionHandler && task.completionHandler) {
    dictionary.set(*keys_.completionHandler,
                   std::make_shared<CompletionHandlerObject>(task.completionHandler));
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
    if (const auto callback =
            dictionary[*keys_.completionHandler].objectOf<CompletionHandlerObject>()) {
      task.completionHandler = callback->handler;
    }
  }
  return task;
}

std::optional<std::vector<Dictionary>> XMLTaskList::dictionaries() const {
  const std::lock_guard lock(mutex());
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
  const std::lock_guard lock(mutex());
  tasks_.swap(tasks);
}

std::optional<Dictionary> XMLTaskList::dictionaryWithParser(const XMLParser* parser) const {
  const std::lock_guard lock(mutex());
  const XMLTask* task = locate(parser);
  if (task == nullptr) return std::nullopt;
  return dictionaryOf(*task);
}

void XMLTaskList::append(XMLTask task) {
  const std::lock_guard lock(mutex());
  if (tasks_) tasks_->push_back(std::move(task));
}

void XMLTaskList::appendAnyway(XMLTask task) {
  const std::lock_guard lock(mutex());
  if (!tasks_) tasks_.emplace();
  tasks_->push_back(std::move(task));
}

std::optional<XMLTask> XMLTaskList::find(const XMLParser& parser) const {
  const std::lock_guard lock(mutex());
  const XMLTask* task = locate(&parser);
  if (task == nullptr) return std::nullopt;
  return *task;
}

void XMLTaskList::remove(const XMLParser& parser) {
  // The task's end may run foreign code (what a callback captured), so it waits for the lock's end.
  std::optional<XMLTask> removed;
  const std::lock_guard lock(mutex());
  if (XMLTask* task = locate(&parser)) {
    removed = std::move(*task);
    tasks_->erase(tasks_->begin() + (task - tasks_->data()));
  }
}

void XMLTaskList::foundCharacters(const XMLParser& parser, std::string_view characters) {
  const std::lock_guard lock(mutex());
  XMLTask* task = locate(&parser);
  if (task == nullptr) return;
  if (!task->parsingString) task->parsingString.emplace();
  task->parsingString->append(characters);
}

void XMLTaskList::didEndElement(const XMLParser& parser, std::string_view elementName) {
  const std::lock_guard lock(mutex());
  XMLTask* task = locate(&parser);
  if (task == nullptr || !task->parsingString) return;
  task->elements.set(elementName, *std::move(task->parsingString));
  task->parsingString.reset();
}

void XMLTaskList::parseErrorOccurred(const XMLParser& parser, const std::shared_ptr<Error>& error) {
  const std::lock_guard lock(mutex());
  if (XMLTask* task = locate(&parser)) task->parsingError = error;
}

XMLTask* XMLTaskList::locate(const XMLParser* parser) {
  return const_cast<XMLTask*>(std::as_const(*this).locate(parser));
}

const XMLTask* XMLTaskList::locate(const XMLParser* parser) const {
  if (!tasks_ || parser == nullptr) return nullptr;
  const auto found =
      std::ranges::find(*tasks_, parser, [](const XMLTask& task) { return task.parser.get(); });
  return found == tasks_->end() ? nullptr : &*found;
}

}  // namespace orx::service
