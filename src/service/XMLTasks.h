// SPDX-License-Identifier: MIT
#pragma once

#include <ORXAccount/ORVAAccountAPI.h>
#include <ORXAccount/platform/Value.h>
#include <ORXAccount/platform/XMLParser.h>

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "service/Answer.h"

namespace orx::service {

// The keys under which a task shows itself as a dictionary.
struct XMLTaskKeys {
  std::string_view parser;
  std::string_view elements;
  std::string_view parsingString;
  std::string_view parsingError;
  // Absent where a task has no callback of its own.
  std::optional<std::string_view> completionHandler;
};

// Lets a callback stand in a task dictionary.
struct CompletionHandlerObject final : Object {
  explicit CompletionHandlerObject(SharedHandler callback) : handler(std::move(callback)) {}

  const SharedHandler handler;
};

// The gathering rule, which makes a flat dictionary of a document: an element is recorded under its
// name with all character data since the last recorded element end, and is not recorded when there
// was none.
struct GatheredElements {
  void foundCharacters(std::string_view characters);
  // Returns what was recorded under this name before.
  Value didEndElement(std::string_view elementName);

  Dictionary elements;
  // Character data since the last recorded element end; absent while there is none.
  std::optional<platform::GrowingSecretText> parsingString;
};

// One XML document that is being read.
struct XMLTask {
  std::shared_ptr<XMLParser> parser;
  GatheredElements gathered;
  std::shared_ptr<Error> parsingError;
  // Shared: copying or destroying the callback itself would run host code under a lock.
  std::shared_ptr<CompletionHandlerObject> completionHandler;
};

// The documents that one object reads, found by their parser's identity. Safe to use from any
// thread: each operation is guarded for its own length.
//
// A host may set the list to another one at any moment. What is being parsed is then no longer in
// the list, but goes on and reports all the same.
class XMLTaskList {
 public:
  explicit XMLTaskList(const XMLTaskKeys& keys) : keys_(keys) {}

  // The list as dictionaries; absent when there is none.
  std::optional<std::vector<Dictionary>> dictionaries();
  // A dictionary that names the parser of a task under way takes that task's place. It may leave
  // out the callback, which stays.
  void setDictionaries(const std::optional<std::vector<Dictionary>>& dictionaries);
  std::optional<Dictionary> dictionaryWithParser(const XMLParser* parser);

  // Keeps nothing when there is no list.
  void append(XMLTask task);
  // Makes a list where there is none.
  void appendAnyway(XMLTask task);
  // A task that is in the list or under way, that is appended and not removed yet. Without the
  // character data that belongs to no element: a copy of it takes memory, and the end of a document
  // must be reported without any.
  std::optional<XMLTask> find(const XMLParser& parser);
  void remove(const XMLParser& parser);

  // Unknown parsers change nothing.
  void foundCharacters(const XMLParser& parser, std::string_view characters);
  void didEndElement(const XMLParser& parser, std::string_view elementName);
  void parseErrorOccurred(const XMLParser& parser, const std::shared_ptr<Error>& error);

 private:
  using Tasks = std::vector<std::shared_ptr<XMLTask>>;

  Dictionary dictionaryOf(const XMLTask& task) const;
  XMLTask taskOf(const Dictionary& dictionary) const;
  // Called inside a brief section, as all below that changes something.
  void add(const std::shared_ptr<XMLTask>& task);
  // Null when there is none.
  XMLTask* locate(const XMLParser& parser);

  const XMLTaskKeys keys_;
  std::optional<Tasks> tasks_;
  Tasks underWay_;
};

}  // namespace orx::service
