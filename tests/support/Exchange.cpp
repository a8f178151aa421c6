// SPDX-License-Identifier: MIT
#include "support/Exchange.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <stdexcept>

namespace orx::testing {
namespace {

// The file gives the parameters as an object, which is written compactly, or as a text, which is
// sent unchanged.
std::string requestText(const nlohmann::ordered_json& request) {
  return request.is_string() ? request.get<std::string>() : request.dump();
}

Exchange read(const std::string& name, const nlohmann::ordered_json& file) {
  Exchange exchange;
  exchange.name = name;
  exchange.after = file.value("after", std::vector<std::string>());
  exchange.path = file.at("path");
  exchange.apiID = file.value("apiId", "");
  exchange.appID = file.value("appId", "demo-app");
  exchange.appKey = file.value("appKey", "demo-key");
  exchange.request = requestText(file.at("request"));
  exchange.status = file.at("status");
  if (file.contains("answer")) {
    exchange.answer = file.at("answer").get<std::string>();
  } else {
    exchange.answerPattern = file.at("answerPattern");
  }
  return exchange;
}

}  // namespace

Exchange loadExchange(const std::string& name) {
  const auto path = std::filesystem::path(ORX_EXCHANGES_DIR) / (name + ".json");
  std::ifstream input(path, std::ios::binary);
  try {
    return read(name, nlohmann::ordered_json::parse(input));
  } catch (const nlohmann::json::exception& problem) {
    throw std::runtime_error(path.string() + ": " + problem.what());
  }
}

std::vector<std::string> exchangeNames() {
  std::vector<std::string> names;
  for (const auto& entry : std::filesystem::directory_iterator(ORX_EXCHANGES_DIR)) {
    if (entry.path().extension() == ".json") names.push_back(entry.path().stem().string());
  }
  std::sort(names.begin(), names.end());
  return names;
}

}  // namespace orx::testing
