// SPDX-License-Identifier: MIT
#include "service/XMLTasks.h"

#include <algorithm>
#include <array>
#include <utility>

#include "platform/process/ForkSafety.h"

namespace orx::service {

using namespace platform;

void GatheredElements::foundCharacters(std::string_view characters) {
  if (!parsingString) parsingString.emplace();
  parsingString->append(characters);
}

Value GatheredElements::didEndElement(std::string_view elementName) {
  if (!parsingString) return {};
  Value former = elements[elementName];
  elements.set(elementName, std::string_view(*parsingString));
  parsingString.reset();
  return former;
}

namespace {

// A short text lies in the task itself, which is wiped at its end for that.
std::shared_ptr<XMLTask> shared(XMLTask task) {
  return std::allocate_shared<XMLTask>(WipingAllocator<XMLTask>(), std::move(task));
}

}  // namespace

Dictionary XMLTaskList::dictionaryOf(const XMLTask& task) const {
  Dictionary dictionary;
  if (keys_.completionHandler && task.completionHandler) {
    dictionary.set(*keys_.completionHandler, task.completionHandler);
  }
  dictionary.set(keys_.parser, task.parser);
  dictionary.set(keys_.elements, task.gathered.elements);
  if (task.gathered.parsingString)
    dictionary.set(keys_.parsingString, std::string_view(*task.gathered.parsingString));
  if (task.parsingError) dictionary.set(keys_.parsingError, task.parsingError);
  return dictionary;
}

XMLTask XMLTaskList::taskOf(const Dictionary& dictionary) const {
  XMLTask task;
  task.parser = dictionary[keys_.parser].objectOf<XMLParser>();
  if (const auto* elements = dictionary[keys_.elements].dictionary())
    task.gathered.elements = *elements;
  if (const auto* text = dictionary[keys_.parsingString].string())
    task.gathered.parsingString.emplace(*text);
  task.parsingError = dictionary[keys_.parsingError].objectOf<Error>();
  if (keys_.completionHandler) {
    task.completionHandler =
        dictionary[*keys_.completionHandler].objectOf<CompletionHandlerObject>();
  }
  return task;
}

namespace {

// The first task with this parser, or the end.
auto located(auto& tasks, const XMLParser* parser) {
  return std::ranges::find(tasks, parser, [](const auto& task) { return task->parser.get(); });
}

}  // namespace

std::optional<std::vector<Dictionary>> XMLTaskList::dictionaries() {
  const BriefSection section;
  if (!tasks_) return std::nullopt;
  std::vector<Dictionary> all;
  all.reserve(tasks_->size());
  for (const auto& task : *tasks_) all.push_back(dictionaryOf(*task));
  return all;
}

void XMLTaskList::setDictionaries(const std::optional<std::vector<Dictionary>>& dictionaries) {
  std::optional<Tasks> tasks;
  if (dictionaries) {
    tasks.emplace();
    for (const Dictionary& dictionary : *dictionaries) {
      tasks->push_back(shared(taskOf(dictionary)));
    }
  }
  // Destroyed after the section, like the old list: what they hold is the host's.
  Tasks replaced;
  if (tasks) replaced.reserve(tasks->size());
  const BriefSection section;
  if (tasks) {
    for (const auto& task : *tasks) {
      const auto known = located(underWay_, task->parser.get());
      if (known == underWay_.end()) continue;
      if (!task->completionHandler) task->completionHandler = (*known)->completionHandler;
      replaced.push_back(std::exchange(*known, task));
    }
  }
  tasks_.swap(tasks);
}

std::optional<Dictionary> XMLTaskList::dictionaryWithParser(const XMLParser* parser) {
  const BriefSection section;
  if (!tasks_ || parser == nullptr) return std::nullopt;
  const auto task = located(*tasks_, parser);
  if (task == tasks_->end()) return std::nullopt;
  return dictionaryOf(**task);
}

void XMLTaskList::append(XMLTask task) {
  const auto added = shared(std::move(task));
  const BriefSection section;
  if (tasks_) add(added);
}

void XMLTaskList::appendAnyway(XMLTask task) {
  const auto added = shared(std::move(task));
  const BriefSection section;
  if (!tasks_) tasks_.emplace();
  add(added);
}

void XMLTaskList::add(const std::shared_ptr<XMLTask>& task) {
  // First, so that a task for which memory runs out is in neither list.
  tasks_->reserve(tasks_->size() + 1);
  underWay_.push_back(task);
  tasks_->push_back(task);
}

std::optional<XMLTask> XMLTaskList::find(const XMLParser& parser) {
  const BriefSection section;
  const XMLTask* task = locate(parser);
  if (task == nullptr) return std::nullopt;
  return XMLTask{.parser = task->parser,
                 .gathered = {.elements = task->gathered.elements, .parsingString = {}},
                 .parsingError = task->parsingError,
                 .completionHandler = task->completionHandler};
}

void XMLTaskList::remove(const XMLParser& parser) {
  // Destroyed after the section: what its callback holds is the host's.
  std::array<std::shared_ptr<XMLTask>, 2> removed;
  const auto take = [&](Tasks& tasks, std::shared_ptr<XMLTask>& taken) {
    const auto task = located(tasks, &parser);
    if (task == tasks.end()) return;
    taken = std::move(*task);
    tasks.erase(task);
  };
  const BriefSection section;
  if (tasks_) take(*tasks_, removed[0]);
  take(underWay_, removed[1]);
}

void XMLTaskList::foundCharacters(const XMLParser& parser, std::string_view characters) {
  const BriefSection section;
  if (XMLTask* task = locate(parser)) task->gathered.foundCharacters(characters);
}

void XMLTaskList::didEndElement(const XMLParser& parser, std::string_view elementName) {
  // Destroyed after the section: a host may have put an object of its own under this name.
  Value replaced;
  const BriefSection section;
  if (XMLTask* task = locate(parser)) replaced = task->gathered.didEndElement(elementName);
}

void XMLTaskList::parseErrorOccurred(const XMLParser& parser, const std::shared_ptr<Error>& error) {
  // After the swap this holds the error from before, which is destroyed after the section.
  std::shared_ptr<Error> replaced = error;
  const BriefSection section;
  if (XMLTask* task = locate(parser)) task->parsingError.swap(replaced);
}

XMLTask* XMLTaskList::locate(const XMLParser& parser) {
  for (Tasks* tasks : {&underWay_, tasks_ ? &*tasks_ : nullptr}) {
    if (tasks == nullptr) continue;
    const auto task = located(*tasks, &parser);
    if (task != tasks->end()) return task->get();
  }
  return nullptr;
}

}  // namespace orx::service
