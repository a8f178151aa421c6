// SPDX-License-Identifier: MIT
#include <cstdio>
#include <exception>
#include <functional>

#include "Measure.h"
#include "Scenarios.h"

namespace orx::bench {
namespace {

int run(int count, char** texts) {
  const std::map<std::string, std::function<void(const Settings&)>> scenarios{
      {"compare", compareContestants},
      {"grow", growByCalls},
      {"hold", holdCalls},
      {"submit", submitCalls},
      {"read", readAnswers},
      {"archive", archiveUsers},
      {"endure", endure},
      {"idle", idle},
      {"restore", restoreUsers},
      {"signIn", signIn},
      {"signInOnce", signInOnce},
      {"serve", serve},
      {"repeat", repeat}};
  const auto scenario = scenarios.find(count > 1 ? texts[1] : "");
  if (scenario == scenarios.end()) {
    std::fputs("usage: orx_bench SCENARIO [NAME=VALUE...]\nscenarios:", stderr);
    for (const auto& [name, unused] : scenarios) std::fprintf(stderr, " %s", name.c_str());
    std::fputs("\n", stderr);
    return 2;
  }
  raiseDescriptorLimit();
  scenario->second(Settings(count - 2, texts + 2));
  std::fflush(stdout);
  return 0;
}

}  // namespace

Settings::Settings(int count, char** texts) {
  for (int index = 0; index < count; ++index) {
    const std::string setting = texts[index];
    const auto equals = setting.find('=');
    values_[setting.substr(0, equals)] =
        equals == std::string::npos ? "" : setting.substr(equals + 1);
  }
}

long Settings::number(const std::string& name, long otherwise) const {
  const auto found = values_.find(name);
  return found == values_.end() ? otherwise : std::stol(found->second);
}

std::string Settings::text(const std::string& name) const {
  const auto found = values_.find(name);
  return found == values_.end() ? std::string() : found->second;
}

}  // namespace orx::bench

int main(int count, char** texts) {
  try {
    return orx::bench::run(count, texts);
  } catch (const std::exception& error) {
    std::fprintf(stderr, "orx_bench: %s\n", error.what());
    return 1;
  }
}
