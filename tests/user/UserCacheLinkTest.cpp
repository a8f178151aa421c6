// SPDX-License-Identifier: MIT
#include <ostream>

#include "platform/keychain/StoreStatus.h"
#include "user/UserCacheTest.h"

namespace orx {

using namespace platform;
namespace {

namespace fs = std::filesystem;

// A folder above the library's own that its owner has replaced by a link to another place.
struct Layout {
  const char* name;
  const char* link;
  // Which variable names what, below the test's own folder.
  const char* variable;
  const char* value;
};

std::ostream& operator<<(std::ostream& stream, const Layout& layout) {
  return stream << layout.name;
}

class UserCacheBehindALink : public testing::UserCacheTest,
                             public ::testing::WithParamInterface<Layout> {
 protected:
  UserCacheBehindALink() {
    for (const char* name : {"XDG_CONFIG_HOME", "XDG_DATA_HOME"}) unsetenv(name);
    setenv("HOME", (home.path() / "home").c_str(), 1);
    setenv(GetParam().variable, (home.path() / GetParam().value).c_str(), 1);
    const auto link = home.path() / GetParam().link;
    fs::create_directories(link.parent_path());
    fs::create_directory_symlink(target, link);
  }

  const fs::path target = home.path() / "volume";
};

TEST_P(UserCacheBehindALink, StoresRestoresAndSignsOut) {
  fs::create_directory(target);
  EXPECT_EQ(restored(), "(nobody)");
  EXPECT_EQ(keychainStatus().description(), "");
  signIn("someone");
  EXPECT_EQ(keychainStatus().description(), "");
  EXPECT_EQ(restored(), "someone");
  EXPECT_FALSE(fs::is_empty(target));
  signOut();
  EXPECT_EQ(keychainStatus().description(), "");
  EXPECT_EQ(restored(), "(nobody)");
}

// As when a volume is not mounted: the user may be stored on it.
TEST_P(UserCacheBehindALink, SaysSoWhenTheLinkLeadsNowhere) {
  EXPECT_EQ(restored(), "(nobody)");
  EXPECT_NE(keychainStatus().description(), "");
  signIn("someone");
  EXPECT_NE(keychainStatus().description(), "");
  EXPECT_FALSE(fs::exists(target));
}

INSTANTIATE_TEST_SUITE_P(
    , UserCacheBehindALink,
    ::testing::Values(Layout{"Home", "home", "HOME", "home"},
                      Layout{"LocalShare", "home/.local/share", "HOME", "home"},
                      Layout{"Config", "home/.config", "HOME", "home"},
                      Layout{"DataHome", "data", "XDG_DATA_HOME", "data"},
                      Layout{"FolderAboveDataHome", "data", "XDG_DATA_HOME", "data/below"},
                      Layout{"ConfigurationHome", "config", "XDG_CONFIG_HOME", "config"}),
    [](const auto& instance) { return std::string(instance.param.name); });

}  // namespace
}  // namespace orx
