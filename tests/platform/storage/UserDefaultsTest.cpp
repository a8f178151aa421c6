// SPDX-License-Identifier: MIT
#include <ORXAccount/platform/Bundle.h>
#include <grp.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <limits>
#include <memory>
#include <thread>

#include "platform/base/Checksum.h"
#include "platform/formats/PropertyList.h"
#include "platform/storage/UserDefaults.h"
#include "support/ChildProcess.h"
#include "support/StorageHome.h"

namespace orx {

using namespace platform;
namespace {

namespace fs = std::filesystem;
using testing::contentOf;
using testing::writeContent;

template <typename T>
bool isDamage(const Result<T>& result) {
  return !result && UserDefaults::isDamage(*result.error());
}

class UserDefaultsTest : public ::testing::Test {
 protected:
  std::string text(std::string_view key) {
    const auto reading = defaults.stringForKey(key);
    EXPECT_TRUE(reading) << reading.error()->localizedDescription();
    return reading->value_or("(absent)");
  }

  testing::StorageHome home;
  UserDefaults& defaults = *UserDefaults::standardUserDefaults();
  const fs::path file = home.defaultsFile();
};

TEST_F(UserDefaultsTest, HoldNothingAndMakeNothingAtFirst) {
  EXPECT_EQ(text("key"), "(absent)");
  EXPECT_TRUE(defaults.removeObjectForKey("key"));
  EXPECT_TRUE(defaults.synchronize());
  EXPECT_TRUE(fs::is_empty(home.path()));
}

TEST_F(UserDefaultsTest, KeepWhatIsSetUntilItIsRemoved) {
  EXPECT_TRUE(defaults.setString_forKey("first", "key"));
  EXPECT_TRUE(defaults.setString_forKey("\xC3\xA9\xF0\x9F\x98\x80", "other"));
  EXPECT_TRUE(defaults.setString_forKey("second", "key"));
  EXPECT_TRUE(defaults.synchronize());
  EXPECT_EQ(text("key"), "second");
  EXPECT_EQ(text("other"), "\xC3\xA9\xF0\x9F\x98\x80");
  EXPECT_TRUE(defaults.removeObjectForKey("key"));
  EXPECT_EQ(text("key"), "(absent)");
  EXPECT_EQ(text("other"), "\xC3\xA9\xF0\x9F\x98\x80");
}

mode_t modeOf(const fs::path& path) {
  struct stat state {};
  EXPECT_EQ(stat(path.c_str(), &state), 0);
  return state.st_mode & 07777U;
}

TEST_F(UserDefaultsTest, BeginAsTheOwnersAloneAndKeepThePermissionsThatTheyAreGiven) {
  const mode_t before = umask(0);
  EXPECT_TRUE(defaults.setString_forKey("first", "key"));
  umask(before);
  EXPECT_EQ(modeOf(file), 0600U);
  for (const mode_t mode : {0644U, 0664U, 0640U, 0400U}) {
    fs::permissions(file, fs::perms(mode));
    EXPECT_TRUE(defaults.setString_forKey(std::to_string(mode), "key"));
    EXPECT_EQ(modeOf(file), mode);
    EXPECT_EQ(text("key"), std::to_string(mode));
  }
}

// Gives the file this group and these permissions, has the process rewrite it, and returns the
// group and permissions that it has then.
struct stat rewritten(UserDefaults& defaults, const fs::path& file, gid_t group, mode_t mode) {
  EXPECT_EQ(chown(file.c_str(), static_cast<uid_t>(-1), group), 0);
  fs::permissions(file, fs::perms(mode));
  EXPECT_TRUE(defaults.setString_forKey("new", "key"));
  struct stat state {};
  EXPECT_EQ(stat(file.c_str(), &state), 0);
  return state;
}

TEST_F(UserDefaultsTest, KeepTheGroupThatTheyAreGiven) {
  ASSERT_TRUE(defaults.setString_forKey("old", "key"));
  // Only a privileged user may give a file to a group that it is not in.
  const gid_t group = geteuid() == 0 ? 12'345 : getegid();
  const auto state = rewritten(defaults, file, group, 0660);
  EXPECT_EQ(state.st_gid, group);
  EXPECT_EQ(state.st_mode & 07777U, 0660U);
}

TEST_F(UserDefaultsTest, GiveAnotherGroupNoMoreThanOthersWhereTheirOwnCannotBeKept) {
  if (geteuid() != 0) {
    // Only root can make such a file: other users cannot give a file to a group that they could not
    // keep.
    ASSERT_NE(chown(home.path().c_str(), static_cast<uid_t>(-1), 12'345), 0);
    return;
  }
  ASSERT_TRUE(defaults.setString_forKey("old", "key"));
  ASSERT_EQ(chown(file.c_str(), static_cast<uid_t>(-1), 12'345), 0);
  fs::permissions(file, fs::perms(0665));
  constexpr uid_t nobody = 65'534;
  ASSERT_EQ(chown(home.path().c_str(), nobody, static_cast<gid_t>(-1)), 0);
  for (const auto& entry : fs::recursive_directory_iterator(home.path())) {
    ASSERT_EQ(chown(entry.path().c_str(), nobody, static_cast<gid_t>(-1)), 0);
  }
  testing::ChildProcess child([&] {
    if (setgroups(0, nullptr) != 0 || setgid(nobody) != 0 || setuid(nobody) != 0) _exit(1);
    if (!defaults.setString_forKey("new", "key")) _exit(2);
  });
  ASSERT_EQ(child.wait(), 0);
  EXPECT_EQ(text("key"), "new");
  EXPECT_EQ(modeOf(file), 0645U);
}

TEST_F(UserDefaultsTest, AreThoseOfTheBundleIdentifierOfTheMoment) {
  ASSERT_TRUE(defaults.setString_forKey("host", "key"));
  EXPECT_TRUE(fs::exists(file));
  Bundle::mainBundle()->setBundleIdentifier("com.example.other");
  EXPECT_EQ(text("key"), "(absent)");
  Bundle::mainBundle()->setBundleIdentifier("../../com.example.host");
  ASSERT_TRUE(defaults.setString_forKey("elsewhere", "key"));
  EXPECT_TRUE(
      fs::exists(file.parent_path().parent_path() / "%2E.%2F..%2Fcom.example.host/defaults.plist"));
  Bundle::mainBundle()->setBundleIdentifier(testing::StorageHome::bundleIdentifier);
  EXPECT_EQ(text("key"), "host");
}

TEST_F(UserDefaultsTest, GoByTheProgramsNameWhereThereIsNoBundleIdentifier) {
  Bundle::mainBundle()->setBundleIdentifier(std::nullopt);
  ASSERT_TRUE(defaults.setString_forKey("value", "key"));
  EXPECT_TRUE(fs::exists(file.parent_path().parent_path() / "storage_tests/defaults.plist"));
}

TEST_F(UserDefaultsTest, AreNotTouchedBySettingWhatTheyHold) {
  ASSERT_TRUE(defaults.setString_forKey("value", "key"));
  struct stat before {};
  struct stat after {};
  ASSERT_EQ(stat(file.c_str(), &before), 0);
  ASSERT_TRUE(defaults.setString_forKey("value", "key"));
  ASSERT_TRUE(defaults.removeObjectForKey("other"));
  ASSERT_EQ(stat(file.c_str(), &after), 0);
  EXPECT_EQ(after.st_ino, before.st_ino);
  EXPECT_EQ(after.st_mtim.tv_nsec, before.st_mtim.tv_nsec);
}

// A list with every kind of value, deep nesting and a shared object.
Data listOfEveryKind() {
  PropertyListWriter writer;
  const auto text = writer.addString("text");
  const auto shared = writer.addArray(std::array{text, text});
  auto deep = writer.addScalar(1);
  for (int depth = 0; depth < 50'000; ++depth) deep = writer.addArray(std::array{deep});
  const std::array keys{
      writer.addString("null"),        writer.addString("true"), writer.addString("negative"),
      writer.addString("large"),       writer.addString("real"), writer.addString("date"),
      writer.addString("data"),        writer.addString("uid"),  writer.addString("set"),
      writer.addString("array"),       writer.addString("map"),  writer.addString("deep"),
      writer.addString("\xE2\x82\xAC")};
  const std::array values{
      writer.addScalar(nullptr), writer.addScalar(true),
      writer.addScalar(std::numeric_limits<std::int64_t>::min()),
      writer.addScalar(std::numeric_limits<std::uint64_t>::max()), writer.addScalar(0.1),
      // Made a date below.
      writer.addScalar(490'000'000.25),
      writer.addScalar(Data(std::vector<std::uint8_t>{0, 255, 7})), writer.addUID(70'000),
      writer.addContainer(PropertyListKind::Set, std::array{text, shared}), shared,
      writer.addDictionary(std::array{text}, std::array{shared}), deep, text};
  std::string list(writer.finish(writer.addDictionary(keys, values)).text());
  // A date is stored like a real number, with another marker byte.
  list.replace(list.find("\x23\x41\xBD"), 1, "\x33");
  return Data(list);
}

TEST_F(UserDefaultsTest, CarryEveryOtherEntryOver) {
  fs::create_directories(file.parent_path());
  writeContent(file, listOfEveryKind().text());
  ASSERT_TRUE(defaults.setString_forKey("value", "key"));
  EXPECT_EQ(text("key"), "value");

  const auto content = contentOf(file);
  const Data bytes(content);
  const PropertyListReader list(bytes.bytes());
  const auto value = [&](std::string_view key) { return list.find(list.top(), key).value(); };
  using Kind = PropertyListReader::Kind;
  EXPECT_EQ(list.count(list.top()), 14U);
  EXPECT_EQ(list.kind(value("null")), Kind::Null);
  EXPECT_EQ(list.scalar(value("true")), Value(true));
  EXPECT_EQ(list.scalar(value("negative")), Value(std::numeric_limits<std::int64_t>::min()));
  EXPECT_EQ(list.scalar(value("large")), Value(std::numeric_limits<std::uint64_t>::max()));
  EXPECT_EQ(list.scalar(value("real")), Value(0.1));
  EXPECT_EQ(list.date(value("date")), 490'000'000.25);
  EXPECT_EQ(list.scalar(value("data")), Value(Data(std::vector<std::uint8_t>{0, 255, 7})));
  EXPECT_EQ(list.UID(value("uid")), 70'000U);
  EXPECT_EQ(list.kind(value("set")), Kind::Set);
  EXPECT_EQ(list.count(value("set")), 2U);
  EXPECT_EQ(list.string(list.element(value("array"), 1)), "text");
  EXPECT_EQ(list.string(list.key(value("map"), 0)), "text");
  EXPECT_EQ(list.element(value("map"), 0), value("array"));
  EXPECT_EQ(list.string(list.key(list.top(), 12)), "\xE2\x82\xAC");
  auto deep = value("deep");
  int depth = 0;
  for (; list.kind(deep) == Kind::Array; ++depth) deep = list.element(deep, 0);
  EXPECT_EQ(depth, 50'000);

  // After the key is removed, the list is the same as before.
  ASSERT_TRUE(defaults.removeObjectForKey("key"));
  const auto once = contentOf(file);
  ASSERT_TRUE(defaults.setString_forKey("value", "key"));
  ASSERT_TRUE(defaults.removeObjectForKey("key"));
  EXPECT_EQ(contentOf(file), once);
}

TEST_F(UserDefaultsTest, GiveANumberAsItsTextAndOtherKindsAsAbsent) {
  fs::create_directories(file.parent_path());
  writeContent(file, listOfEveryKind().text());
  EXPECT_EQ(text("negative"), "-9223372036854775808");
  EXPECT_EQ(text("real"), "0.1");
  for (const auto* key : {"null", "true", "date", "data", "uid", "set", "array", "map"}) {
    EXPECT_EQ(text(key), "(absent)") << key;
  }
}

TEST_F(UserDefaultsTest, AreDamagedAtEveryOtherLength) {
  ASSERT_TRUE(defaults.setString_forKey("value", "key"));
  const auto whole = contentOf(file);
  for (std::size_t length = 0; length < whole.size(); ++length) {
    writeContent(file, whole.substr(0, length));
    const auto reading = defaults.stringForKey("key");
    ASSERT_FALSE(reading) << length;
    EXPECT_TRUE(isDamage(reading));
    EXPECT_NE(reading.error()->localizedDescription().find(file.string()), std::string::npos);
    EXPECT_TRUE(isDamage(defaults.setString_forKey("new", "key")));
    EXPECT_TRUE(isDamage(defaults.removeObjectForKey("key")));
    EXPECT_EQ(contentOf(file), whole.substr(0, length));
  }
}

TEST_F(UserDefaultsTest, AreDamagedByTheChangeOfAnyBit) {
  ASSERT_TRUE(defaults.setString_forKey("value", "key"));
  const auto whole = contentOf(file);
  for (std::size_t bit = 0; bit < whole.size() * 8; ++bit) {
    auto changed = whole;
    changed[bit / 8] = static_cast<char>(changed[bit / 8] ^ (1U << (bit % 8)));
    writeContent(file, changed);
    EXPECT_TRUE(isDamage(defaults.stringForKey("key"))) << bit;
    EXPECT_TRUE(isDamage(defaults.setString_forKey("new", "key"))) << bit;
  }
}

// The first four of the trailer's bytes: those of the checksum, the lowest first.
TEST_F(UserDefaultsTest, EndInTheWholeChecksumOfAllElse) {
  for (const auto* value : {"one", "two", "three", "four"}) {
    ASSERT_TRUE(defaults.setString_forKey(value, "key"));
    auto list = contentOf(file);
    const auto field = list.substr(list.size() - 32, 4);
    list.replace(list.size() - 32, 5, 5, '\0');
    auto checksum = checksumOf(Data(list).bytes());
    for (const char byte : field) {
      EXPECT_EQ(static_cast<unsigned char>(byte), checksum & 0xFFU) << value;
      checksum >>= 8U;
    }
  }
}

TEST_F(UserDefaultsTest, AreTakenFromAWriterThatKnowsNoChecksum) {
  ASSERT_TRUE(defaults.setString_forKey("value", "key"));
  auto content = contentOf(file);
  content.replace(content.size() - 32, 5, 5, '\0');
  writeContent(file, content);
  EXPECT_EQ(text("key"), "value");
  ASSERT_TRUE(defaults.setString_forKey("another", "key"));
  EXPECT_EQ(text("key"), "another");
  EXPECT_NE(contentOf(file).substr(contentOf(file).size() - 32, 5), std::string(5, '\0'));
}

TEST_F(UserDefaultsTest, AreDamagedWhenTheirRootIsNoDictionary) {
  PropertyListWriter writer;
  fs::create_directories(file.parent_path());
  writeContent(file, writer.finish(writer.addString("text")).text());
  EXPECT_TRUE(isDamage(defaults.stringForKey("key")));
}

TEST_F(UserDefaultsTest, BeginAnewBesideADamagedFileWhenAsked) {
  fs::create_directories(file.parent_path());
  writeContent(file, "not a list");
  ASSERT_TRUE(defaults.setString_forKey("value", "key", UserDefaults::DamagedFile::Quarantine));
  EXPECT_EQ(text("key"), "value");
  EXPECT_EQ(contentOf(file.string() + ".damaged"), "not a list");
}

TEST_F(UserDefaultsTest, SetNothingAsideThatIsWhole) {
  ASSERT_TRUE(defaults.setString_forKey("one", "key"));
  ASSERT_TRUE(defaults.setString_forKey("two", "other", UserDefaults::DamagedFile::Quarantine));
  EXPECT_EQ(text("key"), "one");
  EXPECT_FALSE(fs::exists(file.string() + ".damaged"));
}

TEST_F(UserDefaultsTest, AreUnreadableRatherThanAbsentOrDamagedBehindWhatIsNoFile) {
  fs::create_directories(file);
  const auto reading = defaults.stringForKey("key");
  ASSERT_FALSE(reading);
  EXPECT_FALSE(isDamage(reading));
  EXPECT_FALSE(defaults.setString_forKey("value", "key", UserDefaults::DamagedFile::Quarantine));
  EXPECT_TRUE(fs::is_directory(file));

  fs::remove(file);
  ASSERT_EQ(mkfifo(file.c_str(), 0600), 0);
  EXPECT_FALSE(defaults.stringForKey("key"));
  fs::remove(file);
  fs::create_symlink("/nonexistent/defaults.plist", file);
  EXPECT_FALSE(defaults.stringForKey("key"));
}

TEST_F(UserDefaultsTest, AreUnreadableWhereTheirDirectoryLeadsNowhere) {
  fs::create_directories(home.path() / "config");
  fs::create_directory_symlink("/nonexistent/volume", file.parent_path());
  EXPECT_FALSE(defaults.stringForKey("key"));
  EXPECT_FALSE(defaults.setString_forKey("value", "key"));
  EXPECT_FALSE(defaults.synchronize());
}

TEST_F(UserDefaultsTest, ReachADirectoryThroughALink) {
  fs::create_directories(home.path() / "dotfiles");
  fs::create_directories(home.path() / "config");
  fs::create_directory_symlink(home.path() / "dotfiles", file.parent_path());
  ASSERT_TRUE(defaults.setString_forKey("value", "key"));
  EXPECT_TRUE(fs::exists(home.path() / "dotfiles/defaults.plist"));
  EXPECT_EQ(text("key"), "value");
}

TEST_F(UserDefaultsTest, LoseNoChangeWhenProcessesWriteAtOnce) {
  std::vector<std::unique_ptr<testing::ChildProcess>> children;
  children.reserve(4);
  for (int number = 0; number < 4; ++number) {
    children.push_back(std::make_unique<testing::ChildProcess>([&, number] {
      for (int round = 0; round < 20; ++round) {
        const auto key = std::to_string(number) + "-" + std::to_string(round);
        if (!defaults.setString_forKey(key, key)) return 1;
      }
      return 0;
    }));
  }
  for (const auto& child : children) EXPECT_EQ(child->wait(), 0);
  for (int number = 0; number < 4; ++number) {
    for (int round = 0; round < 20; ++round) {
      const auto key = std::to_string(number) + "-" + std::to_string(round);
      EXPECT_EQ(text(key), key);
    }
  }
}

TEST_F(UserDefaultsTest, KeepOtherTransactionsOutButNotSingleCalls) {
  const auto now = [] { return std::chrono::steady_clock::now(); };
  const auto transaction = defaults.lockTransaction(now());
  ASSERT_TRUE(transaction && *transaction);
  const auto second = defaults.lockTransaction(now());
  ASSERT_FALSE(second);
  EXPECT_TRUE(isLockedByAnother(*second.error()));
  EXPECT_TRUE(defaults.setString_forKey("value", "key"));
}

}  // namespace
}  // namespace orx
