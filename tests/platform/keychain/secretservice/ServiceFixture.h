// SPDX-License-Identifier: MIT
#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <string>

#include "platform/keychain/secretservice/SecretServiceStore.h"
#include "support/PrivateBus.h"
#include "support/StorageHome.h"

namespace orx::testing {

using namespace platform;

// The outcome of one operation on the item: a status, and the bytes of a successful reading.
struct Ending {
  OSStatus status;
  bool storeMissing;
  std::string bytes;

  bool operator==(const Ending&) const = default;
};
std::ostream& operator<<(std::ostream& stream, const Ending& ending);

enum class KeychainOperation { Read, Add, Update, Delete };

// A scripted service on a bus, and a store that speaks to it.
class ServiceFixture : public ::testing::Test {
 protected:
  ServiceFixture();

  Ending run(KeychainOperation operation,
             std::chrono::milliseconds patience = std::chrono::seconds(20));
  Ending read() { return run(KeychainOperation::Read); }
  // Starts the service with an item of this library, and with this script.
  void startWithItem(std::string_view script);
  void startEmpty(std::string_view script);
  // The line of ScriptedService::setItems for the item with this secret.
  std::string itemLine(std::string_view schema, int modified, std::string_view secret) const;
  std::string secretOf(std::string_view bytes) const;

  StorageHome home;
  std::optional<PrivateBus> bus;
  ScriptedService service{home.path()};
  PromptRules::Answer prompts = PromptRules::Answer::Forbidden;
  int dismissals = 0;
  std::chrono::milliseconds promptPatience = std::chrono::seconds(20);
  const KeychainItem item{.service = "com.example.service", .account = "someone"};
};

}  // namespace orx::testing
