// SPDX-License-Identifier: MIT
#include <algorithm>
#include <functional>
#include <map>
#include <stdexcept>

#include "devserver/FaultPlan.h"
#include "devserver/JSONInput.h"

namespace orx::devserver {
namespace {

using JSON = nlohmann::json;

[[noreturn]] void refuse(const std::string& reason) { throw std::invalid_argument(reason); }

std::size_t count(const std::string& name, const JSON& value) {
  if (!value.is_number_unsigned()) refuse("\"" + name + "\" takes a number that is not negative");
  return value.get<std::size_t>();
}

std::string text(const std::string& name, const JSON& value) {
  if (!value.is_string()) refuse("\"" + name + "\" takes text");
  return value.get<std::string>();
}

bool flag(const std::string& name, const JSON& value) {
  if (!value.is_boolean()) refuse("\"" + name + "\" takes true or false");
  return value.get<bool>();
}

std::chrono::milliseconds duration(const std::string& name, const JSON& value) {
  if (value == "forever") return kForever;
  constexpr std::size_t longest = std::size_t{1000} * 60 * 60 * 24;
  return std::chrono::milliseconds(std::min(count(name, value), longest));
}

int status(const std::string& name, const JSON& value) {
  const std::size_t code = count(name, value);
  if (code < 100 || code > 999) refuse("\"" + name + "\" takes a number from 100 to 999");
  return static_cast<int>(code);
}

// No string holds as much as a number can ask for.
std::size_t bodySize(const std::string& name, const JSON& value) {
  const std::size_t size = count(name, value);
  constexpr std::size_t largest = std::size_t{1} << 30U;
  if (size > largest) refuse("\"" + name + "\" takes up to " + std::to_string(largest) + " bytes");
  return size;
}

void readMatch(FaultMatch& match, const std::string& name, const JSON& value) {
  if (name == "path") {
    match.path = text(name, value);
  } else if (name == "apiId") {
    match.apiID = text(name, value);
  } else if (name == "host") {
    match.host = text(name, value);
  } else if (name == "nth") {
    match.nth = count(name, value);
  } else {
    refuse("\"match\" knows no \"" + name + "\"");
  }
}

void readHeaders(Fault& fault, const std::string& name, const JSON& value) {
  if (!value.is_object()) refuse("\"" + name + "\" takes an object");
  for (const auto& [header, content] : value.items()) {
    fault.headers.emplace_back(header, text(header, content));
  }
}

using Reader = std::function<void(Fault&, const std::string&, const JSON&)>;

const std::map<std::string, Reader>& readers() {
  using Name = const std::string&;
  static const std::map<std::string, Reader> table = {
      {"status", [](Fault& f, Name n, const JSON& v) { f.status = status(n, v); }},
      {"headers", readHeaders},
      {"body", [](Fault& f, Name n, const JSON& v) { f.body = text(n, v); }},
      {"huge", [](Fault& f, Name n, const JSON& v) { f.huge = bodySize(n, v); }},
      {"malformed-xml", [](Fault& f, Name n, const JSON& v) { f.malformedXML = flag(n, v); }},
      {"no-result-block", [](Fault& f, Name n, const JSON& v) { f.noResultBlock = flag(n, v); }},
      {"delay", [](Fault& f, Name n, const JSON& v) { f.delay = duration(n, v); }},
      {"stall", [](Fault& f, Name n, const JSON& v) { f.stall = duration(n, v); }},
      {"truncate", [](Fault& f, Name n, const JSON& v) { f.truncateAfter = count(n, v); }},
      {"close", [](Fault& f, Name n, const JSON& v) { f.close = flag(n, v); }},
      {"reset", [](Fault& f, Name n, const JSON& v) { f.reset = flag(n, v); }},
  };
  return table;
}

void readFault(Fault& fault, const std::string& name, const JSON& value) {
  const auto reader = readers().find(name);
  if (reader == readers().end()) refuse("\"do\" knows no \"" + name + "\"");
  reader->second(fault, name, value);
}

std::pair<FaultMatch, Fault> readRule(const JSON& rule) {
  if (!rule.is_object() || !rule.contains("do")) refuse("it is no object with a \"do\"");
  FaultMatch match;
  Fault fault;
  for (const auto& [name, value] : rule.items()) {
    if (name == "match" && value.is_object()) {
      for (const auto& [key, wanted] : value.items()) readMatch(match, key, wanted);
    } else if (name == "do" && value.is_string()) {
      // A fault without a value can stand as a plain string.
      readFault(fault, value.get<std::string>(), JSON(true));
    } else if (name == "do" && value.is_object()) {
      for (const auto& [key, what] : value.items()) readFault(fault, key, what);
    } else {
      refuse("\"" + name + "\" is unknown or of the wrong kind");
    }
  }
  return {match, fault};
}

}  // namespace

void FaultPlan::load(std::string_view json) {
  std::vector<Rule> rules;
  for (const JSON& rule : parseArray(json, "rules")) {
    try {
      auto [match, fault] = readRule(rule);
      rules.push_back({std::move(match), std::move(fault), 0});
    } catch (const std::invalid_argument& problem) {
      refuse("rule " + std::to_string(rules.size() + 1) + ": " + problem.what());
    }
  }
  const std::lock_guard lock(mutex_);
  rules_ = std::move(rules);
}

}  // namespace orx::devserver
