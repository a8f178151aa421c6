// SPDX-License-Identifier: MIT
#include <ORXAccount/ORVAAccountUser.h>
#include <gtest/gtest.h>

#include <fstream>
#include <thread>
#include <vector>

#include "platform/formats/KeyedArchiver.h"
#include "platform/formats/KeyedUnarchiver.h"
#include "platform/queues/OperationQueue.h"
#include "support/Python.h"
#include "support/TemporaryDirectory.h"
#include "user/ArchivedClasses.h"

namespace orx::testing {

using namespace platform;
namespace {

Data archived(const Value& root) {
  user::registerArchivedClasses();
  return archivedDataWithRootObject(root);
}

std::shared_ptr<ORVAAccountUser> restored(const Data& archive) {
  user::registerArchivedClasses();
  const auto reading = unarchiveObjectWithData(archive);
  EXPECT_TRUE(reading) << reading.error()->localizedDescription();
  return reading.value_or(Value()).objectOf<ORVAAccountUser>();
}

Dictionary profile() {
  return {{"login", "someone@example.com"},
          {"nick_name", "\u738b \U0001f600"},
          {"cus_id", 12345678901},
          {"largest", UINT64_MAX},
          {"score", -0.5},
          {"active", true},
          {"nothing", nullptr},
          {"nul", std::string("a\0b", 3)},
          {"list", Array{1, "CHN", Dictionary{{"country", "CHN"}}, Array()}},
          {"bytes", Data("\x01\x02")}};
}

TEST(ORVAAccountUser, SupportsSecureCodingUnderItsOwnName) {
  EXPECT_TRUE(ORVAAccountUser::supportsSecureCoding());
  EXPECT_EQ(ORVAAccountUser::initWithUserInfo(std::nullopt)->archivedClassName(),
            "ORVAAccountUser");
}

TEST(ORVAAccountUser, ComesBackEqualAndWithoutAPictureFromAnArchive) {
  const auto user = ORVAAccountUser::initWithUserInfo(profile());
  user->setProfileImageData(Data("picture"));
  const Data archive = archived(user);
  EXPECT_EQ(archive.text().find("picture"), std::string_view::npos);
  const auto again = restored(archive);
  ASSERT_NE(again, nullptr);
  EXPECT_NE(again, user);
  EXPECT_TRUE(again->isEqual(user.get()));
  EXPECT_EQ(again->userInfo(), user->userInfo());
  EXPECT_EQ(again->profileImageData(), std::nullopt);
  ASSERT_NE(again->userOperationQueue(), nullptr);
  EXPECT_NE(again->userOperationQueue(), user->userOperationQueue());
}

TEST(ORVAAccountUser, KeepsTheOrderOfItsFieldsInAnArchive) {
  const auto again = restored(
      archived(ORVAAccountUser::initWithUserInfo(Dictionary{{"b", 1}, {"a", 2}, {"c", 3}})));
  ASSERT_NE(again, nullptr);
  std::string keys;
  for (const auto& entry : *again->userInfo()) keys += entry.key;
  EXPECT_EQ(keys, "bac");
}

TEST(ORVAAccountUser, TellsAnEmptyDictionaryFromAnAbsentOneInAnArchive) {
  const auto empty = restored(archived(ORVAAccountUser::initWithUserInfo(Dictionary())));
  ASSERT_NE(empty, nullptr);
  EXPECT_EQ(empty->userInfo(), Dictionary());
  const auto absent = restored(archived(ORVAAccountUser::initWithUserInfo(std::nullopt)));
  ASSERT_NE(absent, nullptr);
  EXPECT_EQ(absent->userInfo(), std::nullopt);
}

TEST(ORVAAccountUser, IsReadInsideAnotherValue) {
  const auto user = ORVAAccountUser::initWithUserInfo(profile());
  const auto reading = unarchiveObjectWithData(archived(Array{user, "text"}));
  ASSERT_TRUE(reading);
  ASSERT_NE(reading->array(), nullptr);
  EXPECT_TRUE(user->isEqual((*reading->array())[0].object().get()));
}

class ORVAAccountUserFile : public ::testing::Test {
 protected:
  std::string path(std::string_view name) const { return directory_ / name; }

  Data read(std::string_view name) const {
    std::ifstream file(path(name), std::ios::binary);
    return Data(std::string(std::istreambuf_iterator<char>(file), {}));
  }

  void write(std::string_view name, const Data& data) const {
    std::ofstream(path(name), std::ios::binary) << data.text();
  }

  std::string directory() const { return directory_.path().string(); }

 private:
  TemporaryDirectory directory_;
};

TEST_F(ORVAAccountUserFile, IsReadFromWhatOtherArchiversWrote) {
  runPython("user/archives/make_user_archives.py", {directory()});
  const Dictionary expected{{"login", "someone@example.com"}, {"score", 3}, {"gone", nullptr}};
  for (const char* name : {"immutable.plist", "mutable.plist", "derived.plist", "extended.plist"}) {
    const auto user = restored(read(name));
    ASSERT_NE(user, nullptr) << name;
    EXPECT_EQ(user->userInfo(), expected) << name;
  }
}

TEST_F(ORVAAccountUserFile, HasNoFieldsWhenAnArchiveHoldsNoDictionary) {
  runPython("user/archives/make_user_archives.py", {directory()});
  for (const char* name : {"null.plist", "missing.plist", "text.plist", "plain.plist"}) {
    const auto user = restored(read(name));
    ASSERT_NE(user, nullptr) << name;
    EXPECT_EQ(user->userInfo(), std::nullopt) << name;
  }
}

TEST_F(ORVAAccountUserFile, HoldsOneFieldForOthersToRead) {
  write("user.plist", archived(ORVAAccountUser::initWithUserInfo(Dictionary{{"login", "me"}})));
  write("empty.plist", archived(ORVAAccountUser::initWithUserInfo(std::nullopt)));
  // Hexadecimal: "class ORVAAccountUser", "_userInfo", "login", "me".
  const std::string record = "{s636c617373204f5256414163636f756e7455736572={s5f75736572496e666f=";
  EXPECT_EQ(runPython("platform/formats/archives/read_archive.py",
                      {path("user.plist"), path("empty.plist")}),
            record + "{s6c6f67696e=s6d65}}}\n" + record + "null}}\n");
}

TEST(ORVAAccountUser, CanBeReadAndRegisteredOnManyThreadsAtOnce) {
  const auto user = ORVAAccountUser::initWithUserInfo(profile());
  const Data archive = archived(user);
  std::vector<std::thread> threads;
  threads.reserve(8);
  for (int i = 0; i < 8; ++i) {
    threads.emplace_back([&] {
      for (int round = 0; round < 50; ++round) {
        const auto again = restored(archive);
        ASSERT_NE(again, nullptr);
        EXPECT_TRUE(again->isEqual(user.get()));
        EXPECT_EQ(user->login(), "someone@example.com");
        EXPECT_EQ(archived(user), archive);
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
}

}  // namespace
}  // namespace orx::testing
