// SPDX-License-Identifier: MIT
#pragma once

#include <ORXAccount/ORVAAccountLoginManager.h>
#include <ORXAccount/platform/Keychain.h>
#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "support/MemoryScan.h"
#include "support/ServerProcess.h"
#include "support/SignInFixture.h"
#include "support/StorageHome.h"

namespace orx::testing {

// A host that wipes what it has typed, and a service in another process: what lies in this one is
// the library's.
class SecretsInMemory : public ::testing::Test {
 protected:
  static inline const Canary password{"password"};
  static inline const Canary appKey{"appKey", 3000};
  static inline const Canary ticket{"ticket", 3000};

  explicit SecretsInMemory(KeychainPolicy policy = KeychainPolicy::FileOnly);
  ~SecretsInMemory() override;

  // A record with the ticket for everybody, but for these words in a request: in-chunks, refused,
  // cut-off, no-answer, silence, status-500, broken-xml, broken-json, moved-302 and
  // moved-307, and no-xml in that of the user of a ticket.
  static TLSTestServer::Answer answerTo(const TLSTestServer::Request& request);

  // The code of the error, 0 for a success.
  long signIn(std::string_view name);
  // Of what the delegate is told next.
  long codeOfReport();
  static void signOut() { ORVAAccountLoginManager::sharedInstance()->logout(); }

  // The worker that has reported lets go of the rest a moment later.
  static void expectCopies(const Canary& canary, std::size_t wanted, const char* name);
  static void expectNoneLeft();

  // Everything that errors have said.
  std::string errorTexts_;
  const StorageHome home_;
  const ServerProcess server_{{kGlobalHost, kChinaHost, kDevelopmentHost}, answerTo};
  const std::shared_ptr<RecordingDelegate> delegate_ = std::make_shared<RecordingDelegate>();
};

}  // namespace orx::testing
