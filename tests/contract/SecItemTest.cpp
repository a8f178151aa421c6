// SPDX-License-Identifier: MIT
#include <ORXAccount/ORVAAccountKeychain.h>

#include "contract/KeychainBackends.h"
#include "platform/keychain/SecItemFunctions.h"
#include "platform/keychain/StoreStatus.h"

namespace orx {

using namespace platform;
namespace {

Data bytesOf(std::string_view text) { return Data(text); }

class SecItemContract : public testing::KeychainContract {
 protected:
  SecItemContract() { setKeychainStoreInForce(store); }

  static Dictionary query(std::string_view account = "someone") {
    return {{"class", "genp"}, {"svce", "com.example.service"}, {"acct", account}};
  }
  static Dictionary with(Dictionary dictionary, std::string_view key, Value value) {
    dictionary.set(std::string(key), std::move(value));
    return dictionary;
  }
};

TEST_P(SecItemContract, AddsReadsUpdatesAndDeletes) {
  const auto reading = with(with(query(), kSecReturnData, true), kSecMatchLimit, kSecMatchLimitOne);
  std::optional<Value> result;
  EXPECT_EQ(SecItemCopyMatching(reading, result), errSecItemNotFound);
  EXPECT_EQ(SecItemUpdate(query(), {{"v_Data", bytesOf("x")}}), errSecItemNotFound);
  EXPECT_EQ(SecItemAdd(with(query(), kSecValueData, bytesOf("first"))), errSecSuccess);
  EXPECT_EQ(SecItemAdd(with(query(), kSecValueData, bytesOf("again"))), errSecDuplicateItem);
  EXPECT_EQ(SecItemUpdate(query(), {{"v_Data", bytesOf("second")}}), errSecSuccess);
  EXPECT_EQ(SecItemCopyMatching(reading, result), errSecSuccess);
  ASSERT_TRUE(result && result->data() != nullptr);
  EXPECT_EQ(result->data()->text(), "second");
  EXPECT_EQ(SecItemDelete(query()), errSecSuccess);
  EXPECT_EQ(SecItemDelete(query()), errSecItemNotFound);
  EXPECT_EQ(SecItemCopyMatching(reading, result), errSecItemNotFound);
  EXPECT_FALSE(result);
}

TEST_P(SecItemContract, HandsOutNoBytesUnlessAsked) {
  ASSERT_EQ(SecItemAdd(with(query(), kSecValueData, bytesOf("secret"))), errSecSuccess);
  std::optional<Value> result;
  EXPECT_EQ(SecItemCopyMatching(query(), result), errSecSuccess);
  EXPECT_FALSE(result);
  EXPECT_EQ(SecItemCopyMatching(with(query(), kSecReturnData, false), result), errSecSuccess);
  EXPECT_FALSE(result);
}

TEST_P(SecItemContract, RefusesAQueryThatNamesNoItem) {
  std::optional<Value> result;
  for (const auto* key : {"class", "svce", "acct"}) {
    auto incomplete = with(query(), kSecValueData, bytesOf("x"));
    incomplete.remove(key);
    for (const auto& unusable : {incomplete, with(incomplete, key, 5)}) {
      EXPECT_EQ(SecItemAdd(unusable), errSecParam) << key;
      EXPECT_EQ(SecItemUpdate(unusable, {{"v_Data", bytesOf("x")}}), errSecParam) << key;
      EXPECT_EQ(SecItemDelete(unusable), errSecParam) << key;
      EXPECT_EQ(SecItemCopyMatching(unusable, result), errSecParam) << key;
    }
  }
  EXPECT_EQ(SecItemAdd(query()), errSecParam);
  EXPECT_EQ(SecItemAdd(with(query(), kSecValueData, "text")), errSecParam);
  EXPECT_EQ(SecItemUpdate(query(), {}), errSecParam);
}

TEST_P(SecItemContract, ReportsMissingAndDuplicateItemsAsNoProblemOfTheStore) {
  ASSERT_EQ(SecItemAdd(with(query(), kSecValueData, bytesOf("x"))), errSecSuccess);
  ASSERT_EQ(SecItemAdd(with(query(), kSecValueData, bytesOf("x"))), errSecDuplicateItem);
  ASSERT_EQ(SecItemDelete(query("nobody")), errSecItemNotFound);
  EXPECT_EQ(keychainStatus().lastError(), errSecSuccess);
  EXPECT_EQ(keychainStatus().store(), GetParam().place);
}

INSTANTIATE_TEST_SUITE_P(, SecItemContract, ::testing::ValuesIn(testing::keychainBackends()),
                         [](const auto& instance) { return instance.param.name; });

// ORVAAccountKeychain, which stores bytes under a key with these functions.
class AccountKeychainContract : public testing::KeychainContract {
 protected:
  AccountKeychainContract() { setKeychainStoreInForce(store); }

  std::shared_ptr<ORVAAccountKeychain> keychain =
      ORVAAccountKeychain::initWithServiceID("com.example.service");
};

TEST_P(AccountKeychainContract, NamesAnItemByClassServiceAndAccountInThisOrder) {
  const auto query = keychain->queryWithKey("someone");
  ASSERT_EQ(query.size(), 3U);
  const auto& entries = query.entries();
  EXPECT_EQ(entries[0].key, "class");
  EXPECT_EQ(entries[0].value, Value("genp"));
  EXPECT_EQ(entries[1].key, "svce");
  EXPECT_EQ(entries[1].value, Value("com.example.service"));
  EXPECT_EQ(entries[2].key, "acct");
  EXPECT_EQ(entries[2].value, Value("someone"));
  EXPECT_FALSE(keychain->queryWithKey("someone").isSameAs(query));
}

TEST_P(AccountKeychainContract, LeavesOneItemWithTheSecondBytes) {
  EXPECT_TRUE(keychain->setData_forKey(bytesOf("first"), "someone"));
  EXPECT_TRUE(keychain->setData_forKey(bytesOf("second"), "someone"));
  EXPECT_EQ(keychain->dataForKey("someone")->text(), "second");
  EXPECT_TRUE(keychain->setData_forKey(std::nullopt, "someone"));
  EXPECT_FALSE(keychain->dataForKey("someone"));
  EXPECT_EQ(SecItemDelete(keychain->queryWithKey("someone")), errSecItemNotFound);
}

TEST_P(AccountKeychainContract, SucceedsInDeletingWhatDoesNotExist) {
  EXPECT_TRUE(keychain->setData_forKey(std::nullopt, "nobody"));
}

TEST_P(AccountKeychainContract, DoesNothingWithoutAnAccount) {
  EXPECT_FALSE(keychain->setData_forKey(bytesOf("x"), std::nullopt));
  EXPECT_FALSE(keychain->setData_forKey(std::nullopt, std::nullopt));
  EXPECT_FALSE(keychain->dataForKey(std::nullopt));
}

TEST_P(AccountKeychainContract, TellsEmptyBytesFromNone) {
  EXPECT_TRUE(keychain->setData_forKey(Data(), "someone"));
  ASSERT_TRUE(keychain->dataForKey("someone"));
  EXPECT_TRUE(keychain->dataForKey("someone")->empty());
}

TEST_P(AccountKeychainContract, KeepsServicesApart) {
  const auto other = ORVAAccountKeychain::initWithServiceID("com.example.other");
  EXPECT_TRUE(keychain->setData_forKey(bytesOf("mine"), "someone"));
  EXPECT_FALSE(other->dataForKey("someone"));
  EXPECT_TRUE(other->setData_forKey(std::nullopt, "someone"));
  EXPECT_EQ(keychain->dataForKey("someone")->text(), "mine");
}

INSTANTIATE_TEST_SUITE_P(, AccountKeychainContract,
                         ::testing::ValuesIn(testing::keychainBackends()),
                         [](const auto& instance) { return instance.param.name; });

}  // namespace
}  // namespace orx
