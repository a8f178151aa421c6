// SPDX-License-Identifier: MIT
#include "Script.h"

#include <algorithm>
#include <fstream>
#include <sstream>

Script::Script(const std::string& file) {
  std::ifstream stream(file);
  for (std::string line; std::getline(stream, line);) {
    std::istringstream words(line);
    std::string first;
    if (!(words >> first)) continue;
    std::vector<std::string> arguments;
    for (std::string word; words >> word;) arguments.push_back(word);
    lines_.emplace(first, std::move(arguments));
  }
}

const std::vector<std::string>* Script::find(const std::string& word) const {
  const auto found = lines_.find(word);
  return found == lines_.end() ? nullptr : &found->second;
}

std::string Script::argument(const std::string& word) const {
  const auto* arguments = find(word);
  return arguments == nullptr || arguments->empty() ? std::string() : arguments->front();
}

Script::Lines::const_iterator Script::lookUp(const std::string& word,
                                             const std::string& argument) const {
  const auto [begin, end] = lines_.equal_range(word);
  const auto found = std::find_if(begin, end, [&](const auto& line) {
    return !line.second.empty() && line.second.front() == argument;
  });
  return found == end ? lines_.end() : found;
}

bool Script::has(const std::string& word, const std::string& argument) const {
  return lookUp(word, argument) != lines_.end();
}

const std::vector<std::string>& Script::line(const std::string& word,
                                             const std::string& argument) const {
  return lookUp(word, argument)->second;
}

void Script::apply(int call, const std::string& method) {
  const auto found = lookUp("call", std::to_string(call));
  if (found == lines_.end()) return;
  lines_.emplace(method, std::vector(found->second.begin() + 1, found->second.end()));
}

std::string unescaped(const std::string& text) {
  std::string bytes;
  for (std::size_t index = 0; index < text.size(); ++index) {
    if (text[index] == '%' && index + 2 < text.size()) {
      bytes += static_cast<char>(std::stoi(text.substr(index + 1, 2), nullptr, 16));
      index += 2;
    } else {
      bytes += text[index];
    }
  }
  return bytes;
}
