#include "Output.h"

#include <algorithm>
#include <iostream>

#include "JSON.h"

namespace tool {
namespace {

bool isTable(const orx::Array& array) {
  return !array.empty() && std::all_of(array.begin(), array.end(), [](const orx::Value& value) {
    return value.dictionary() != nullptr && !value.dictionary()->empty();
  });
}

std::string lineOf(const orx::Value& value) {
  if (const auto text = value.text()) return printable(*text);
  return jsonFromValue(value);
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

void printJSON(const orx::Dictionary& object) { std::cout << jsonFromValue(object) << '\n'; }

void printFieldLines(const orx::Dictionary& fields) {
  std::size_t width = 0;
  for (const auto& [key, value] : fields) width = std::max(width, key.size());
  for (const auto& [key, value] : fields) {
    const std::string line = lineOf(value);
    if (value.isNull() || line.empty()) continue;
    std::string label = key + ':';
    label.resize(width + 2, ' ');
    std::cout << label << line << '\n';
  }
}

}  // namespace

void Output::printFields(const orx::Dictionary& fields) const {
  json_ ? printJSON(fields) : printFieldLines(fields);
}

void Output::printValue(const std::string& key, const orx::Value& value) const {
  if (json_) return printJSON({{key, value}});
  const orx::Array* array = value.array();
  if (array != nullptr && isTable(*array)) {
    std::cout << tableOf(*array);
  } else if (array != nullptr) {
    for (const orx::Value& element : *array) std::cout << lineOf(element) << '\n';
  } else if (value.dictionary() != nullptr) {
    printFieldLines(*value.dictionary());
  } else {
    std::cout << lineOf(value) << '\n';
  }
}

void Output::printDone(const std::string& sentence, const orx::Dictionary& fields) const {
  if (json_) return printJSON(fields);
  std::cout << printable(sentence) << '\n';
}

void Output::printFailure(const Failure& failure) const {
  if (!json_) {
    std::cerr << "orxaccount: " << printable(failure.text);
    if (failure.error) {
      std::cerr << " (" << printable(failure.error->domain()) << ' ' << failure.error->code()
                << ')';
    }
    std::cerr << '\n';
    return;
  }
  orx::Dictionary error{{"kind", kindOf(failure.exitCode)}, {"description", failure.text}};
  if (failure.error) {
    error.set("domain", failure.error->domain());
    error.set("code", failure.error->code());
  }
  printJSON({{"error", error}});
}

std::string printable(std::string_view text) {
  std::string shown;
  for (std::size_t at = 0; at < text.size(); ++at) {
    const auto byte = static_cast<unsigned char>(text[at]);
    const bool c1 =
        byte == 0xc2 && at + 1 < text.size() && static_cast<unsigned char>(text[at + 1]) < 0xa0;
    if (c1) ++at;
    if (c1 || byte < 0x20 || byte == 0x7f) {
      shown.push_back(byte == '\n' || byte == '\t' ? ' ' : '?');
    } else {
      shown.push_back(text[at]);
    }
  }
  return shown;
}

}  // namespace tool
