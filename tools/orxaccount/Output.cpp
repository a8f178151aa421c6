// SPDX-License-Identifier: MIT
#include "Output.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <iostream>
#include <limits>
#include <utility>

#include "JSON.h"
#include "Printable.h"
#include "Progress.h"
#include "Secrets.h"

namespace tool {
namespace {

// Everything that is printed as text leaves through here.
void printLine(std::ostream& stream, std::string_view line) { stream << printable(line) + '\n'; }

std::string lineOf(const orx::Value& value) {
  if (const auto text = value.text()) return *text;
  return jsonFromValue(value, JSONLayout::OneLine);
}

const char* kindOf(ExitCode code) {
  switch (code) {
    case ExitCode::Success:
      break;
    case ExitCode::Refused:
      return "refused";
    case ExitCode::Usage:
      return "usage";
    case ExitCode::Transport:
      return "transport";
    case ExitCode::NotSignedIn:
      return "not-signed-in";
    case ExitCode::Storage:
      return "storage";
  }
  return "none";
}

void printJSON(const orx::Dictionary& object) {
  std::cout << jsonFromValue(object, JSONLayout::Indented) << '\n';
}

// Longer keys stick out: one of many megabytes must not make every line as long.
constexpr std::size_t kWidestLabel = 40;

void printFieldLines(const orx::Dictionary& fields) {
  std::vector<std::pair<std::string, std::string>> lines;
  std::size_t width = 0;
  for (const auto& [key, value] : fields) {
    std::string line = lineOf(value);
    if (value.isNull() || line.empty()) continue;
    const auto& [label, text] =
        lines.emplace_back(printable(key, kLongestLine / 2) + ':', std::move(line));
    width = std::max(width, std::min(widthOf(label), kWidestLabel));
  }
  for (const auto& [label, text] : lines) {
    const std::size_t used = std::min(widthOf(label), width);
    printLine(std::cout, std::string(label).append(width - used + 1, ' ').append(text));
  }
}

orx::Value withoutTickets(const orx::Value& value) {
  if (const orx::Array* array = value.array()) {
    orx::Array rest;
    for (const orx::Value& element : *array) rest.push_back(withoutTickets(element));
    return rest;
  }
  if (const orx::Dictionary* dictionary = value.dictionary()) {
    std::vector<orx::Dictionary::Entry> rest;
    for (const auto& [key, entry] : *dictionary) {
      if (!namesTicket(key)) rest.emplace_back(key, withoutTickets(entry));
    }
    return orx::Dictionary(std::move(rest));
  }
  return value;
}

// The columns of the terminal that standard output is; else a table is as wide as it is.
std::size_t widestTable() {
  winsize size = {};
  const bool known = ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0;
  return known ? size.ws_col : std::numeric_limits<std::size_t>::max();
}

}  // namespace

orx::Value Output::shown(const orx::Value& value) const {
  if (showsTickets_) return value;
  // XML for instance, or JSON in a text, whose entries nothing here tells apart.
  const std::string* text = value.string();
  return text != nullptr && namesTicket(*text) ? orx::Value(sizeOf(*text)) : withoutTickets(value);
}

void Output::printFields(const orx::Dictionary& fields) const {
  const orx::Value rest = shown(fields);
  json_ ? printJSON(*rest.dictionary()) : printFieldLines(*rest.dictionary());
}

void Output::printValue(const std::string& key, const orx::Value& whole) const {
  const orx::Value value = shown(whole);
  if (json_) return printJSON({{key, value}});
  if (value.dictionary() != nullptr) return printFieldLines(*value.dictionary());
  if (value.array() == nullptr) return printLine(std::cout, lineOf(value));
  if (const auto table = tableOf(*value.array(), widestTable())) {
    for (const std::string& line : *table) printLine(std::cout, line);
  } else {
    for (const orx::Value& element : *value.array()) printLine(std::cout, lineOf(element));
  }
}

void Output::printDone(const std::string& sentence, const orx::Dictionary& fields) const {
  if (json_) return printFields(fields);
  printLine(std::cout, sentence);
}

void Output::printFailure(const Failure& failure) const {
  if (!json_) {
    std::string line = "orxaccount: " + printable(failure.text, kLongestLine / 2);
    if (failure.error) {
      line += " (" + failure.error->domain() + ' ' + std::to_string(failure.error->code()) + ')';
    }
    return printMessage(line);
  }
  orx::Dictionary error{{"kind", kindOf(failure.exitCode)}, {"description", failure.text}};
  if (failure.error) {
    error.set("domain", failure.error->domain());
    error.set("code", failure.error->code());
  }
  printJSON({{"error", error}});
}

std::string sizeOf(const std::string& text) {
  return std::to_string(text.size()) + " bytes of text, which --show-ticket shows";
}

void printMessage(std::string_view line) {
  Progress::clear();
  printLine(std::cerr, line);
}

}  // namespace tool
