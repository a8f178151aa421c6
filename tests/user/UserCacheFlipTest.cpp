#include <algorithm>

#include "platform/KeychainStatus.h"
#include "user/UserCacheTest.h"

namespace orx {
namespace {

namespace fs = std::filesystem;
using testing::contentOf;
using testing::snapshotOf;
using testing::writeContent;

// Whatever becomes of a byte of one of the two stored files, the stored user is restored, or the
// damage is named and nothing is deleted.
class UserCacheFlipTest : public testing::UserCacheTest {
 protected:
  UserCacheFlipTest() { signIn("someone"); }

  fs::path asideOf(const fs::path& file) { return file.string() + ".damaged"; }

  // Gives true when there was damage.
  bool survives(const fs::path& file, const std::string& changed) {
    writeContent(file, changed);
    const auto other = file == item ? home.defaultsFile() : item;
    const auto otherContent = contentOf(other);
    const auto user = restored();
    EXPECT_EQ(contentOf(file), changed);
    EXPECT_EQ(contentOf(other), otherContent);
    if (user == "someone") return false;
    EXPECT_EQ(user, "(nobody)");
    const auto status = keychainStatusNow();
    EXPECT_EQ(status.lastError, errSecDecode);
    EXPECT_EQ(status.path, file.string());
    EXPECT_NE(status.description.find("damaged"), std::string::npos) << status.description;
    EXPECT_FALSE(status.remedy.empty());
    return true;
  }

  void isSetAsideByTheNextSignIn(const fs::path& file) {
    const auto damaged = contentOf(file);
    signIn("another");
    EXPECT_EQ(restored(), "another");
    EXPECT_EQ(keychainStatusNow().lastError, errSecSuccess);
    EXPECT_EQ(contentOf(asideOf(file)), damaged);
    fs::remove(asideOf(file));
    signIn("someone");
  }

  // Every 500th damage is followed by a sign-in too.
  void survivesTheFlipOfEachBit(const fs::path& file) {
    const auto whole = contentOf(file);
    std::size_t damages = 0;
    for (std::size_t bit = 0; bit < whole.size() * 8; ++bit) {
      auto changed = whole;
      changed[bit / 8] = static_cast<char>(changed[bit / 8] ^ (1U << (bit % 8)));
      const bool damaged = survives(file, changed);
      damages += damaged ? 1 : 0;
      if (damaged && damages % 500 == 1) isSetAsideByTheNextSignIn(file);
      ASSERT_FALSE(HasFailure()) << "bit " << bit;
      writeContent(file, whole);
      // The sign-in in between may have begun the other file anew.
      if (restored() != "someone") restoreBoth();
    }
    EXPECT_EQ(damages, whole.size() * 8);
  }

  void survivesEachLength(const fs::path& file) {
    const auto whole = contentOf(file);
    for (std::size_t length = 0; length < whole.size(); ++length) {
      EXPECT_TRUE(survives(file, whole.substr(0, length)));
      ASSERT_FALSE(HasFailure()) << "length " << length;
    }
    isSetAsideByTheNextSignIn(file);
  }

  void restoreBoth() {
    for (const auto& [path, content] : both) writeContent(path, content);
  }

  const fs::path item = home.onlyItemFile();
  const std::map<std::string, std::string> both{
      {item.string(), contentOf(item)},
      {home.defaultsFile().string(), contentOf(home.defaultsFile())}};
};

TEST_F(UserCacheFlipTest, SurvivesTheFlipOfEachBitOfTheDefaults) {
  survivesTheFlipOfEachBit(home.defaultsFile());
}

TEST_F(UserCacheFlipTest, SurvivesTheFlipOfEachBitOfTheItem) { survivesTheFlipOfEachBit(item); }

TEST_F(UserCacheFlipTest, SurvivesDefaultsOfAnyLength) { survivesEachLength(home.defaultsFile()); }

TEST_F(UserCacheFlipTest, SurvivesAnItemOfAnyLength) { survivesEachLength(item); }

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
