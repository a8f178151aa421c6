// SPDX-License-Identifier: MIT
#include <fstream>

#include "platform/keychain/StoreStatus.h"
#include "user/UserCacheTest.h"

namespace orx {

using namespace platform;
namespace {

namespace fs = std::filesystem;
using testing::contentOf;
using testing::snapshotOf;
using testing::writeContent;

// Whichever bit of the two stored files changes, and wherever one is cut off, the status names the
// damaged file, and nothing is deleted or changed.
class UserCacheFlipTest : public testing::UserCacheTest {
 protected:
  UserCacheFlipTest() {
    signIn("someone");
    item = home.onlyItemFile();
    for (const auto& file : {item, home.defaultsFile()}) both[file.string()] = contentOf(file);
  }

  fs::path asideOf(const fs::path& file) { return file.string() + ".damaged"; }

  void isNamedAndLeftAlone(const fs::path& file) {
    const auto files = snapshotOf(home.path());
    EXPECT_EQ(restored(), "(nobody)");
    EXPECT_EQ(snapshotOf(home.path()), files);
    const auto status = keychainStatus();
    EXPECT_EQ(status.lastError(), errSecDecode);
    EXPECT_EQ(status.path(), file.string());
    EXPECT_NE(status.description().find("damaged"), std::string::npos) << status.description();
    EXPECT_FALSE(status.remedy().empty());
  }

  void isSetAsideByTheNextSignIn(const fs::path& file) {
    const auto damaged = contentOf(file);
    signIn("another");
    EXPECT_EQ(restored(), "another");
    EXPECT_EQ(keychainStatus().lastError(), errSecSuccess);
    EXPECT_EQ(contentOf(asideOf(file)), damaged);
    fs::remove(asideOf(file));
  }

  // Writes the byte in place; a new file for each bit would take much longer.
  static void flip(const fs::path& file, std::size_t bit) {
    std::fstream stream(file, std::ios::binary | std::ios::in | std::ios::out);
    const auto place = static_cast<std::streamoff>(bit / 8);
    stream.seekg(place);
    const auto byte = static_cast<char>(stream.get() ^ (1 << (bit % 8)));
    stream.seekp(place);
    stream.put(byte);
    ASSERT_TRUE(stream.flush()) << file;
  }

  // Signs in after every 500th flip too; after each one it would take too long.
  void isDamagedByTheFlipOfEachBit(const fs::path& file) {
    const auto bits = contentOf(file).size() * 8;
    for (std::size_t bit = 0; bit < bits; ++bit) {
      flip(file, bit);
      isNamedAndLeftAlone(file);
      if (bit % 500 == 0) {
        isSetAsideByTheNextSignIn(file);
        restoreBoth();
      } else {
        flip(file, bit);
      }
      ASSERT_FALSE(HasFailure()) << "bit " << bit;
    }
    EXPECT_EQ(restored(), "someone");
  }

  void isDamagedAtEachLength(const fs::path& file) {
    const auto whole = contentOf(file);
    for (std::size_t length = 0; length < whole.size(); ++length) {
      writeContent(file, whole.substr(0, length));
      isNamedAndLeftAlone(file);
      ASSERT_FALSE(HasFailure()) << "length " << length;
    }
    isSetAsideByTheNextSignIn(file);
  }

  void restoreBoth() {
    for (const auto& [path, content] : both) writeContent(path, content);
  }

  fs::path item;
  std::map<std::string, std::string> both;
};

TEST_F(UserCacheFlipTest, NamesTheFlipOfAnyBitOfTheDefaults) {
  isDamagedByTheFlipOfEachBit(home.defaultsFile());
}

TEST_F(UserCacheFlipTest, NamesTheFlipOfAnyBitOfTheItem) { isDamagedByTheFlipOfEachBit(item); }

TEST_F(UserCacheFlipTest, NamesDefaultsCutOffAnywhere) {
  isDamagedAtEachLength(home.defaultsFile());
}

TEST_F(UserCacheFlipTest, NamesAnItemCutOffAnywhere) { isDamagedAtEachLength(item); }

TEST_F(UserCacheFlipTest, LeavesNothingAsideAfterASignOut) {
  writeContent(item, contentOf(item).substr(0, contentOf(item).size() - 1));
  signIn("another");
  ASSERT_TRUE(fs::exists(asideOf(item)));
  signOut();
  for (const auto& [path, content] : snapshotOf(home.path())) {
    EXPECT_EQ(content.find("someone"), std::string::npos) << path;
  }
  EXPECT_FALSE(fs::exists(asideOf(item)));
}

}  // namespace
}  // namespace orx
