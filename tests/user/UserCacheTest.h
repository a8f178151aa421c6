// SPDX-License-Identifier: MIT
#pragma once

#include <ORXAccount/ORVAAccountConstants.h>
#include <ORXAccount/ORVAAccountKeychain.h>
#include <ORXAccount/ORVAAccountUser.h>
#include <ORXAccount/ORVAAccountUserCache.h>
#include <gtest/gtest.h>

#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "platform/formats/KeyedArchiver.h"
#include "platform/formats/KeyedUnarchiver.h"
#include "platform/storage/UserDefaults.h"
#include "support/StorageHome.h"

namespace orx::testing {

using namespace platform;

inline std::shared_ptr<ORVAAccountUser> userNamed(std::string_view login) {
  return ORVAAccountUser::initWithUserInfo(Dictionary{{"login", login}, {"points", 12}});
}

// The cache over stores of the test's own.
class UserCacheTest : public ::testing::Test {
 protected:
  // Makes the cache, which lets records be archived.
  UserCacheTest() { cache(); }

  void signIn(std::string_view login) { cache().setCachedUser(userNamed(login)); }
  void signOut() { cache().setCachedUser(nullptr); }
  std::string restored() {
    const auto user = cache().cachedUser();
    return user ? user->login().value_or("(no login)") : "(nobody)";
  }
  static ORVAAccountUserCache& cache() { return *ORVAAccountUserCache::sharedInstance(); }

  // uuid() and blob() read the stores directly, without the cache under test.
  std::string uuid() {
    const auto reading = defaults.stringForKey(ORVAAccountUserUserDefaultKey);
    return reading ? reading->value_or("(absent)") : "(error)";
  }
  std::optional<Data> blob() { return keychain->dataForKey(ORVAAccountUserKeychainKey); }
  void putBlob(const Value& root) {
    ASSERT_TRUE(
        keychain->setData_forKey(archivedDataWithRootObject(root), ORVAAccountUserKeychainKey));
  }
  void putUUID(std::string_view value) {
    ASSERT_TRUE(defaults.setString_forKey(value, ORVAAccountUserUserDefaultKey));
  }

  StorageHome home;
  UserDefaults& defaults = *UserDefaults::standardUserDefaults();
  std::shared_ptr<ORVAAccountKeychain> keychain = ORVAAccountKeychain::initWithServiceID(
      "com.orva.account.usercache." + std::string(StorageHome::bundleIdentifier));
};

}  // namespace orx::testing
