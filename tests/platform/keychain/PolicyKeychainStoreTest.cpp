// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>
#include <sys/resource.h>

#include <chrono>
#include <filesystem>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <utility>

#include "platform/keychain/PolicyKeychainStore.h"
#include "support/StorageHome.h"

namespace orx {

using namespace platform;
namespace {

// One item in memory, and a status for every call while `failure` is set.
class MemoryStore final : public KeychainStore {
 public:
  explicit MemoryStore(std::string name) : name_(std::move(name)) {}
  std::string_view name() const noexcept override { return name_; }
  Result<void> probe(Deadline /*deadline*/) override { return outcome(errSecSuccess); }
  Result<void> add(const KeychainItem& /*item*/, const Data& data, Deadline /*deadline*/) override {
    auto done = outcome(bytes ? errSecDuplicateItem : errSecSuccess);
    if (done) bytes = data;
    return done;
  }
  Result<void> update(const KeychainItem& /*item*/, const Data& data,
                      Deadline /*deadline*/) override {
    auto done = outcome(bytes ? errSecSuccess : errSecItemNotFound);
    if (done) bytes = data;
    return done;
  }
  Result<void> remove(const KeychainItem& /*item*/, Deadline /*deadline*/) override {
    auto done = outcome(bytes ? errSecSuccess : errSecItemNotFound);
    if (done) bytes.reset();
    return done;
  }
  Result<Data> copy(const KeychainItem& /*item*/, Deadline /*deadline*/) override {
    const auto done = outcome(bytes ? errSecSuccess : errSecItemNotFound);
    return done ? Result<Data>(*bytes) : Failure(done.error());
  }

  std::optional<Data> bytes;
  OSStatus failure = errSecSuccess;

 private:
  Result<void> outcome(OSStatus otherwise) const {
    const OSStatus status = failure == errSecSuccess ? otherwise : failure;
    if (status == errSecSuccess) return {};
    return keychainFailure(status);
  }

  std::string name_;
};

class PolicyKeychainStoreTest : public ::testing::Test {
 protected:
  static Deadline deadline() { return std::chrono::steady_clock::now() + std::chrono::seconds(20); }
  Result<void> add(std::string_view bytes) { return store.add(item, Data(bytes), deadline()); }
  Result<void> update(std::string_view bytes) {
    return store.update(item, Data(bytes), deadline());
  }
  Result<Data> copy() { return store.copy(item, deadline()); }
  Result<void> remove() { return store.remove(item, deadline()); }

  // Fails every write, as a full disk does.
  template <typename Operation>
  static auto whileNothingCanBeWritten(const Operation& operation) {
    rlimit before{};
    getrlimit(RLIMIT_FSIZE, &before);
    const rlimit none{.rlim_cur = 0, .rlim_max = before.rlim_max};
    setrlimit(RLIMIT_FSIZE, &none);
    auto result = operation();
    setrlimit(RLIMIT_FSIZE, &before);
    return result;
  }

  testing::StorageHome home;
  std::shared_ptr<MemoryStore> first = std::make_shared<MemoryStore>("first");
  std::shared_ptr<MemoryStore> second = std::make_shared<MemoryStore>("second");
  PolicyKeychainStore store{{first, second}, [] { return KeychainPolicy::PreferSecretService; }};
  const KeychainItem item{.service = "com.example.service", .account = "someone"};
  const std::filesystem::path file = home.keychainDirectory() / ItemFile::nameOf(item);
};

TEST_F(PolicyKeychainStoreTest, TakesTheFirstStoreThatExists) {
  first->failure = errSecNoSuchKeychain;
  ASSERT_TRUE(add("bytes"));
  EXPECT_EQ(second->bytes, Data("bytes"));
  EXPECT_EQ(copy().value(), Data("bytes"));
}

TEST_F(PolicyKeychainStoreTest, LetsNoStoreStandInForOneThatFails) {
  first->failure = errSecInteractionNotAllowed;
  EXPECT_EQ(statusOf(add("bytes")), errSecInteractionNotAllowed);
  EXPECT_FALSE(second->bytes);
}

TEST_F(PolicyKeychainStoreTest, WritesToNoStoreWhatItCannotNote) {
  first->failure = errSecNoSuchKeychain;
  ASSERT_TRUE(add("old"));
  first->failure = errSecSuccess;
  EXPECT_EQ(statusOf(whileNothingCanBeWritten([&] { return update("new"); })), errSecIO);
  EXPECT_FALSE(first->bytes);
  EXPECT_EQ(copy().value(), Data("old"));
}

TEST_F(PolicyKeychainStoreTest, MovesAnItemToAStoreThatIsPreferred) {
  first->failure = errSecNoSuchKeychain;
  ASSERT_TRUE(add("old"));
  first->failure = errSecSuccess;
  ASSERT_TRUE(update("new"));
  EXPECT_EQ(first->bytes, Data("new"));
  EXPECT_FALSE(second->bytes);
}

TEST_F(PolicyKeychainStoreTest, RemovesAnItemFromTheStoreThatHoldsItOrSaysWhyNot) {
  ASSERT_TRUE(add("bytes"));
  first->failure = errSecInteractionNotAllowed;
  EXPECT_EQ(statusOf(remove()), errSecInteractionNotAllowed);
  first->failure = errSecSuccess;
  EXPECT_EQ(copy().value(), Data("bytes"));
  EXPECT_TRUE(remove());
  EXPECT_FALSE(first->bytes);
  EXPECT_EQ(statusOf(copy()), errSecItemNotFound);
}

TEST_F(PolicyKeychainStoreTest, LeavesNothingOfADamagedItemThatIsRemoved) {
  first->failure = errSecNoSuchKeychain;
  second->failure = errSecNoSuchKeychain;
  ASSERT_TRUE(add("secret words"));
  std::filesystem::resize_file(file, std::filesystem::file_size(file) - 1);
  EXPECT_TRUE(remove());
  for (const auto& [path, content] : testing::snapshotOf(home.path())) {
    EXPECT_EQ(content.find("secret"), std::string::npos) << path;
  }
}

// As after a downgrade: a later version has stored it.
TEST_F(PolicyKeychainStoreTest, SaysThatAnItemIsInAStoreThatItDoesNotHave) {
  const auto third = std::make_shared<MemoryStore>("third");
  PolicyKeychainStore later{{third, first}, [] { return KeychainPolicy::PreferSecretService; }};
  ASSERT_TRUE(later.add(item, Data("later"), deadline()));
  const auto read = copy();
  ASSERT_FALSE(read);
  EXPECT_EQ(statusOf(read), errSecNotAvailable);
  EXPECT_NE(read.error()->localizedDescription().find("third"), std::string::npos);
  EXPECT_EQ(statusOf(add("new")), errSecDuplicateItem);
  ASSERT_TRUE(update("new"));
  EXPECT_EQ(copy().value(), Data("new"));
  EXPECT_EQ(third->bytes, Data("later"));
  // It counts no more where that version comes back.
  EXPECT_EQ(later.copy(item, deadline()).value(), Data("new"));
  EXPECT_FALSE(third->bytes);
}

// An earlier version stored a record beside the item's file.
TEST_F(PolicyKeychainStoreTest, KeepsWhatADamagedRecordMayHaveNamedUntilAVersionIsStored) {
  const auto record = std::filesystem::path(file).replace_extension(".state");
  ASSERT_TRUE(add("old"));
  std::filesystem::remove(file);
  testing::writeContent(record, "newest: fir");
  std::filesystem::permissions(record, std::filesystem::perms(0600));
  first->failure = errSecInteractionNotAllowed;
  EXPECT_EQ(statusOf(update("new")), errSecInteractionNotAllowed);
  first->failure = errSecSuccess;
  EXPECT_EQ(statusOf(copy()), errSecDecode);
  EXPECT_EQ(first->bytes, Data("old"));
  EXPECT_TRUE(update("new"));
  EXPECT_EQ(copy().value(), Data("new"));
  EXPECT_FALSE(std::filesystem::exists(record));
}

}  // namespace
}  // namespace orx
