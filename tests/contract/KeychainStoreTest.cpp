// SPDX-License-Identifier: MIT
#include <atomic>
#include <numeric>
#include <thread>

#include "contract/KeychainBackends.h"
#include "support/Await.h"
#include "support/ChildProcess.h"

namespace orx {

using namespace platform;
namespace {

using testing::KeychainContract;

class KeychainStoreContract : public KeychainContract {
 protected:
  OSStatus add(const KeychainItem& which, std::string_view bytes) {
    return statusOf(store->add(which, Data(bytes), deadline()));
  }
  OSStatus update(const KeychainItem& which, std::string_view bytes) {
    return statusOf(store->update(which, Data(bytes), deadline()));
  }
  OSStatus remove(const KeychainItem& which) { return statusOf(store->remove(which, deadline())); }

  // The item's bytes, or the status as text.
  std::string copy(const KeychainItem& which) {
    const auto bytes = store->copy(which, deadline());
    return bytes ? std::string(bytes->text()) : std::to_string(statusOf(bytes));
  }

  const KeychainItem item{.service = "com.example.service", .account = "someone"};
  const std::string missing = std::to_string(errSecItemNotFound);
};

TEST_P(KeychainStoreContract, HasNoItemAtFirst) {
  EXPECT_EQ(copy(item), missing);
  EXPECT_EQ(update(item, "bytes"), errSecItemNotFound);
  EXPECT_EQ(remove(item), errSecItemNotFound);
  EXPECT_EQ(copy(item), missing);
}

TEST_P(KeychainStoreContract, GivesBackWhatWasAdded) {
  EXPECT_EQ(add(item, "bytes"), errSecSuccess);
  EXPECT_EQ(copy(item), "bytes");
  store = GetParam().make();
  EXPECT_EQ(copy(item), "bytes");
}

TEST_P(KeychainStoreContract, DoesNotAddAnItemTwice) {
  ASSERT_EQ(add(item, "first"), errSecSuccess);
  EXPECT_EQ(add(item, "second"), errSecDuplicateItem);
  EXPECT_EQ(copy(item), "first");
}

TEST_P(KeychainStoreContract, ReplacesTheBytesOfAnItem) {
  ASSERT_EQ(add(item, "first"), errSecSuccess);
  for (const auto* bytes : {"second, which is longer", "3", "3", ""}) {
    EXPECT_EQ(update(item, bytes), errSecSuccess);
    EXPECT_EQ(copy(item), bytes);
  }
}

TEST_P(KeychainStoreContract, ForgetsARemovedItem) {
  ASSERT_EQ(add(item, "bytes"), errSecSuccess);
  EXPECT_EQ(remove(item), errSecSuccess);
  EXPECT_EQ(copy(item), missing);
  EXPECT_EQ(remove(item), errSecItemNotFound);
  EXPECT_EQ(add(item, "again"), errSecSuccess);
  EXPECT_EQ(copy(item), "again");
}

TEST_P(KeychainStoreContract, KeepsAnyBytes) {
  std::string every(256, '\0');
  std::iota(every.begin(), every.end(), '\0');
  std::string large;
  for (int count = 0; count < 4096; ++count) large += every;
  ASSERT_EQ(add(item, ""), errSecSuccess);
  for (const auto& bytes : {std::string(), every, std::string("\0", 1), large}) {
    ASSERT_EQ(update(item, bytes), errSecSuccess);
    EXPECT_EQ(copy(item), bytes);
  }
}

TEST_P(KeychainStoreContract, TellsItemsApartByServiceAndAccount) {
  const std::string longText(1000, 'x');
  const std::vector<KeychainItem> items{
      {.service = "a", .account = "b"},
      {.service = "b", .account = "a"},
      {.service = "a,b", .account = "c"},
      {.service = "a", .account = "b,c"},
      {.service = "", .account = "a"},
      {.service = "a", .account = ""},
      {.service = "../a", .account = "/b"},
      {.service = "..", .account = "."},
      {.service = "A", .account = "b"},
      {.service = std::string("a\0", 2), .account = "b"},
      {.service = "a%00", .account = "b"},
      {.service = "com.orva.account.usercache.(null)", .account = "\xC3\xA9\xE2\x82\xAC"},
      {.service = longText, .account = longText},
      {.service = longText, .account = longText + "y"},
      {.service = longText + "x", .account = longText.substr(1)},
  };
  for (std::size_t index = 0; index < items.size(); ++index) {
    ASSERT_EQ(add(items[index], std::to_string(index)), errSecSuccess) << index;
  }
  for (std::size_t index = 0; index < items.size(); ++index) {
    EXPECT_EQ(copy(items[index]), std::to_string(index));
  }
  ASSERT_EQ(remove(items[0]), errSecSuccess);
  for (std::size_t index = 1; index < items.size(); ++index) {
    EXPECT_EQ(copy(items[index]), std::to_string(index));
  }
}

// Fork before the first use: a store need not work in a child of a process that has used it.
TEST_P(KeychainStoreContract, SharesItsItemsAmongProcesses) {
  testing::ChildProcess child([&] {
    const bool added = testing::eventually([&] { return copy(item) == "of the parent"; });
    if (!added) return 1;
    return update(item, "of the child") == errSecSuccess ? 0 : 2;
  });
  ASSERT_EQ(add(item, "of the parent"), errSecSuccess);
  EXPECT_EQ(child.wait(), 0);
  EXPECT_EQ(copy(item), "of the child");
}

TEST_P(KeychainStoreContract, LetsOneOfManyAddAnItem) {
  std::atomic<int> added = 0;
  std::atomic<int> refused = 0;
  std::vector<std::thread> threads;
  threads.reserve(8);
  for (int number = 0; number < 8; ++number) {
    threads.emplace_back([&, number] {
      const auto status = add(item, std::to_string(number));
      if (status == errSecSuccess) ++added;
      if (status == errSecDuplicateItem) ++refused;
    });
  }
  for (auto& thread : threads) thread.join();
  EXPECT_EQ(added, 1);
  EXPECT_EQ(refused, 7);
}

TEST_P(KeychainStoreContract, NeverShowsAMixWhileItIsWrittenByAnotherProcess) {
  const std::string first(20'000, 'a');
  const std::string second(30'000, 'b');
  testing::ChildProcess writer([&] {
    if (add(item, first) != errSecSuccess) return 1;
    for (int round = 0; round < 50; ++round) {
      if (update(item, round % 2 == 0 ? second : first) != errSecSuccess) return 1;
    }
    return update(item, "end") == errSecSuccess ? 0 : 1;
  });
  ASSERT_TRUE(testing::eventually([&] { return copy(item) != missing; }));
  std::string seen;
  while (seen != "end") {
    seen = copy(item);
    ASSERT_TRUE(seen == first || seen == second || seen == "end") << seen.substr(0, 30);
  }
  EXPECT_EQ(writer.wait(), 0);
}

INSTANTIATE_TEST_SUITE_P(, KeychainStoreContract, ::testing::ValuesIn(testing::keychainBackends()),
                         [](const auto& instance) { return instance.param.name; });

}  // namespace
}  // namespace orx
