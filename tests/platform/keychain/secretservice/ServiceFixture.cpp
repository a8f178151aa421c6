// SPDX-License-Identifier: MIT
#include "platform/keychain/secretservice/ServiceFixture.h"

#include "platform/base/Base64.h"
#include "platform/keychain/KeychainItemFormat.h"

namespace orx::testing {

using namespace platform;

std::ostream& operator<<(std::ostream& stream, const Ending& ending) {
  return stream << ending.status << (ending.storeMissing ? " no service " : " ") << ending.bytes;
}

ServiceFixture::ServiceFixture() { bus.emplace(home.path()); }

Ending ServiceFixture::run(KeychainOperation operation, std::chrono::milliseconds patience) {
  SecretServiceStore store({.mayPrompt = [this] { return prompts; },
                            .noteDismissed = [this] { ++dismissals; },
                            .patience = promptPatience,
                            .patienceAfterwards = std::chrono::seconds(20)});
  const auto deadline = std::chrono::steady_clock::now() + patience;
  std::string bytes;
  Result<void> done;
  switch (operation) {
    case KeychainOperation::Read: {
      const auto read = store.copy(item, deadline);
      if (read) bytes = read->text();
      if (!read) done = Failure(read.error());
      break;
    }
    case KeychainOperation::Add:
      done = store.add(item, Data(std::string_view("new")), deadline);
      break;
    case KeychainOperation::Update:
      done = store.update(item, Data(std::string_view("new")), deadline);
      break;
    case KeychainOperation::Delete:
      done = store.remove(item, deadline);
      break;
  }
  const auto status = statusOf(done);
  if (!done) {
    const bool plain = status == errSecItemNotFound || status == errSecDuplicateItem;
    const auto& details = done.error()->userInfo();
    EXPECT_EQ(details[NSLocalizedDescriptionKey].text()->empty(), plain);
    EXPECT_EQ(!details[NSLocalizedRecoverySuggestionErrorKey].text(), plain);
  }
  return {.status = status, .storeMissing = isStoreMissing(done), .bytes = bytes};
}

std::string ServiceFixture::secretOf(std::string_view bytes) const {
  return base64Of(encodedItem(item, Data(bytes)));
}

std::string ServiceFixture::itemLine(std::string_view schema, int modified,
                                     std::string_view secret) const {
  return item.service + " " + item.account + " " + std::string(schema) + " " +
         std::to_string(modified) + " " + std::string(secret) + "\n";
}

void ServiceFixture::startWithItem(std::string_view script) {
  service.setItems(itemLine("-", 1, secretOf("old")));
  service.setScript(script);
  service.start();
}

void ServiceFixture::startEmpty(std::string_view script) {
  service.setItems("");
  service.setScript(script);
  service.start();
}

}  // namespace orx::testing
