// SPDX-License-Identifier: MIT
#include <ORXAccount/platform/Dictionary.h>
#include <ORXAccount/platform/Value.h>
#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <vector>

#include "allocations/FailingAllocation.h"

namespace orx {
namespace {

std::string keysOf(const Dictionary& dictionary) {
  std::string keys;
  for (const DictionaryEntry& entry : dictionary) keys += entry.key + ' ';
  return keys;
}

Dictionary numbered(int count) {
  Dictionary dictionary;
  for (int number = 0; number < count; ++number) dictionary.set(std::to_string(number), number);
  return dictionary;
}

TEST(Dictionary, IsEmptyAtFirst) {
  const Dictionary dictionary;
  EXPECT_TRUE(dictionary.empty());
  EXPECT_EQ(dictionary.size(), 0U);
  EXPECT_EQ(dictionary.begin(), dictionary.end());
  EXPECT_EQ(dictionary.find(""), nullptr);
  EXPECT_TRUE(dictionary["a"].isNull());
}

TEST(Dictionary, KeepsInsertionOrderAndTheFirstPlaceOfAKey) {
  Dictionary dictionary{{"b", 1}, {"a", 2}, {"b", 3}};
  EXPECT_EQ(keysOf(dictionary), "b a ");
  EXPECT_EQ(dictionary["b"], Value(3));
  dictionary.set("", 4);
  dictionary.set("a", Value());
  EXPECT_EQ(keysOf(dictionary), "b a  ");
  EXPECT_NE(dictionary.find("a"), nullptr);
  EXPECT_TRUE(dictionary.find("a")->isNull());
  EXPECT_EQ(dictionary[""], Value(4));
}

TEST(Dictionary, TakesAListOfEntriesAsIfTheyWereSetOneByOne) {
  EXPECT_TRUE(Dictionary(std::vector<DictionaryEntry>{}).empty());
  for (int count = 1; count < 120; ++count) {
    std::vector<DictionaryEntry> entries;
    entries.reserve(static_cast<std::size_t>(count) + 2);
    for (int number = 0; number < count; ++number)
      entries.emplace_back(std::to_string(number), number);
    EXPECT_EQ(keysOf(Dictionary(entries)), keysOf(numbered(count)));
    entries.emplace_back(std::to_string(count / 2), "again");
    entries.emplace_back("last", Value());
    Dictionary expected = numbered(count);
    expected.set(std::to_string(count / 2), "again");
    expected.set("last", Value());
    const Dictionary dictionary(std::move(entries));
    EXPECT_EQ(keysOf(dictionary), keysOf(expected));
    EXPECT_EQ(dictionary, expected);
  }
}

TEST(Dictionary, TellsApartKeysThatAreAlikeAtBothEnds) {
  Dictionary dictionary;
  for (int number = 10; number < 50; ++number)
    dictionary.set("a" + std::to_string(number) + "bcdz", number);
  EXPECT_EQ(dictionary.size(), 40U);
  for (int number = 10; number < 50; ++number) {
    EXPECT_EQ(dictionary["a" + std::to_string(number) + "bcdz"], Value(number));
    EXPECT_EQ(dictionary.find("b" + std::to_string(number) + "bcdz"), nullptr);
  }
}

TEST(Dictionary, RemovesEntries) {
  Dictionary dictionary{{"a", 1}, {"b", 2}, {"c", 3}};
  dictionary.remove("b");
  dictionary.remove("unknown");
  EXPECT_EQ(keysOf(dictionary), "a c ");
  EXPECT_EQ(dictionary.find("b"), nullptr);
  dictionary.set("b", 4);
  EXPECT_EQ(keysOf(dictionary), "a c b ");
}

// An index takes over at some size; nothing may change there, growing or shrinking.
TEST(Dictionary, FindsEveryKeyAtEverySize) {
  for (int count = 0; count < 60; ++count) {
    Dictionary dictionary = numbered(count);
    for (int removed = 0; removed < count; ++removed) {
      for (int number = 0; number < count; ++number) {
        const Value* value = dictionary.find(std::to_string(number));
        ASSERT_EQ(value != nullptr, number >= removed) << count << ", " << removed;
        if (value != nullptr) {
          ASSERT_EQ(*value, Value(number));
        }
      }
      dictionary.remove(std::to_string(removed));
    }
    EXPECT_TRUE(dictionary.empty());
  }
}

TEST(Dictionary, NeverChangesAnotherHandle) {
  Dictionary first = numbered(20);
  const Dictionary second = first;
  EXPECT_TRUE(first.isSameAs(second));
  first.set("5", "changed");
  first.remove("6");
  EXPECT_FALSE(first.isSameAs(second));
  EXPECT_EQ(second["5"], Value(5));
  EXPECT_EQ(second.size(), 20U);
  EXPECT_EQ(first["5"], Value("changed"));
  Dictionary third = second;
  third.set("new", 1);
  EXPECT_EQ(second.find("new"), nullptr);
  const Value held(third);
  third.set("new", 2);
  EXPECT_EQ((*held.dictionary())["new"], Value(1));
}

TEST(Dictionary, SharesItsContentUntilAChange) {
  const Dictionary first = numbered(3);
  Dictionary second = first;
  EXPECT_EQ(first.begin(), second.begin());
  second.remove("unknown");
  EXPECT_TRUE(first.isSameAs(second));
  EXPECT_FALSE(numbered(3).isSameAs(first));
}

TEST(Dictionary, TakesAKeyThatLiesInItself) {
  const std::string longKey = "a key that needs memory of its own";
  Dictionary shared{{longKey, 1}};
  Dictionary other = shared;
  other = {};
  shared.set(shared.begin()->key, 2);
  EXPECT_EQ(shared[longKey], Value(2));
  other = shared;
  other = {};
  shared.remove(shared.begin()->key);
  EXPECT_TRUE(shared.empty());

  // The entries move while the key is put into the index.
  Dictionary large{{"first", 1}};
  for (int number = 1; number < 300; ++number) {
    large.set(std::to_string(number), number);
    large.set(std::string_view(large.begin()->key).substr(1), number);
    EXPECT_EQ(large["irst"], Value(number));
    large.remove("irst");
  }
}

TEST(Dictionary, IsEmptyAfterItWasMovedFrom) {
  Dictionary first = numbered(3);
  const Dictionary second = std::move(first);
  EXPECT_EQ(second.size(), 3U);
  first = Dictionary{};
  first.set("a", 1);
  EXPECT_EQ(second.size(), 3U);
}

TEST(Dictionary, ComparesWithoutRegardToOrder) {
  EXPECT_EQ((Dictionary{{"a", 1}, {"b", 2}}), (Dictionary{{"b", 2}, {"a", 1}}));
  EXPECT_EQ((Dictionary{{"a", 1}}), (Dictionary{{"a", 1.0}}));
  EXPECT_FALSE((Dictionary{{"a", 1}}) == (Dictionary{{"a", 2}}));
  EXPECT_FALSE((Dictionary{{"a", Value()}}) == (Dictionary{{"b", Value()}}));
  EXPECT_FALSE((Dictionary{{"a", 1}}) == (Dictionary{{"a", 1}, {"b", 2}}));
  EXPECT_EQ(Dictionary(), Dictionary{});
}

TEST(Dictionary, MayBeChangedOnOneThreadWhileItsCopiesAreReadOnOthers) {
  Dictionary dictionary = numbered(50);
  std::vector<std::thread> readers;
  readers.reserve(3);
  for (int reader = 0; reader < 3; ++reader) {
    readers.emplace_back([copy = dictionary] {
      for (int round = 0; round < 200; ++round) {
        Dictionary again = copy;
        EXPECT_EQ(again["7"], Value(7));
        again.set("8", round);
      }
    });
  }
  for (int round = 0; round < 200; ++round) dictionary.set("7", -round);
  for (std::thread& reader : readers) reader.join();
  EXPECT_EQ(dictionary["7"], Value(-199));
}

// Around the number of entries from which there is an index.
TEST(Dictionary, HasAllOfAnEntryOrNothingWhateverAllocationFails) {
  for (const int size : {0, 10, 46, 47, 48, 60}) {
    Dictionary dictionary;
    const auto expectWhole = [&] {
      for (int number = 0; number < size; ++number) {
        EXPECT_EQ(dictionary[std::to_string(number)], Value(number));
      }
    };
    const std::string key = "a key that takes an allocation of its own";
    testing::failEachAllocation(
        [&] { dictionary = numbered(size); }, [&] { dictionary.set(key, 1); },
        [&](bool threw) {
          EXPECT_EQ(dictionary.size(), static_cast<std::size_t>(threw ? size : size + 1));
          EXPECT_EQ(dictionary.find(key) == nullptr, threw);
          expectWhole();
        });
    testing::failEachAllocation([&] { dictionary.set(key, 1); }, [&] { dictionary.remove(key); },
                                [&](bool /*threw*/) {
                                  EXPECT_EQ(dictionary.find(key), nullptr);
                                  expectWhole();
                                });
  }
}

}  // namespace
}  // namespace orx
