#include "platform/keychain/secretservice/ServiceFixture.h"

#include "platform/base/Base64.h"
#include "platform/keychain/KeychainItemFile.h"

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
  std::optional<Data> bytes;
  KeychainOutcome outcome;
  switch (operation) {
    case KeychainOperation::Read:
      outcome = store.copy(item, deadline, bytes);
      break;
    case KeychainOperation::Add:
      outcome = store.add(item, Data(std::string_view("new")), deadline);
      break;
    case KeychainOperation::Update:
      outcome = store.update(item, Data(std::string_view("new")), deadline);
      break;
    case KeychainOperation::Delete:
      outcome = store.remove(item, deadline);
      break;
  }
  EXPECT_EQ(bytes.has_value(),
            outcome.status == errSecSuccess && operation == KeychainOperation::Read);
  const bool plain = outcome.status == errSecSuccess || outcome.status == errSecItemNotFound ||
                     outcome.status == errSecDuplicateItem;
  EXPECT_EQ(outcome.text.empty(), plain) << outcome.text;
  EXPECT_EQ(outcome.remedy.empty(), plain) << outcome.remedy;
  return {.status = outcome.status,
          .storeMissing = outcome.storeMissing,
          .bytes = bytes ? std::string(bytes->text()) : std::string()};
}

std::string ServiceFixture::secretOf(std::string_view bytes) const {
  return base64Of(fileContentOf(item, Data(bytes)));
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
