// SPDX-License-Identifier: MIT
#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <ostream>

#include "platform/keychain/StoreStatus.h"
#include "user/UserCacheTest.h"

namespace {
bool theUserDatabaseKnowsNobody = false;
}

// Replaces the C library's function in this program, because only root could run the test as a user
// without an entry.
extern "C" int getpwuid_r(uid_t user, passwd* entry, char* buffer, size_t size, passwd** result) {
  *result = nullptr;
  if (theUserDatabaseKnowsNobody) return 0;
  const passwd* found = getpwuid(user);
  if (found == nullptr) return 0;
  static_cast<void>(buffer);
  static_cast<void>(size);
  *entry = *found;
  *result = entry;
  return 0;
}

namespace orx {

using namespace platform;
namespace {

namespace fs = std::filesystem;
using testing::StorageHome;
using testing::userNamed;
using testing::writeContent;

// Something that must not be trusted, in the place of the item or of its directory.
struct Obstacle {
  const char* name;
  bool ofDirectory;
  void (*make)(const fs::path& place);
  const char* reason;
};

std::ostream& operator<<(std::ostream& stream, const Obstacle& obstacle) {
  return stream << obstacle.name;
}

class UserCacheRefusal : public testing::UserCacheTest,
                         public ::testing::WithParamInterface<Obstacle> {
 protected:
  UserCacheRefusal() {
    signIn("someone");
    place = GetParam().ofDirectory ? home.keychainDirectory() : home.onlyItemFile();
    fs::rename(place, kept);
    GetParam().make(place);
  }
  // The status names the place and the reason, and says what to do.
  void expectItIsNamed() {
    const auto status = keychainStatus();
    EXPECT_EQ(status.lastError(), errSecNotAvailable);
    EXPECT_EQ(status.path(), place.string());
    EXPECT_NE(status.description().find(place.string()), std::string::npos) << status.description();
    EXPECT_NE(status.description().find(GetParam().reason), std::string::npos)
        << status.description();
    EXPECT_NE(status.remedy().find(place.string()), std::string::npos) << status.remedy();
  }
  struct stat stateOfPlace() {
    struct stat state {};
    EXPECT_EQ(lstat(place.c_str(), &state), 0);
    return state;
  }

  const fs::path kept = home.path() / "kept";
  fs::path place;
};

TEST_P(UserCacheRefusal, IsNamedNothingIsTouchedAndTheUserIsBackAfterwards) {
  const auto before = stateOfPlace();
  const auto installation = uuid();
  EXPECT_EQ(restored(), "(nobody)");
  expectItIsNamed();

  const auto user = userNamed("another");
  ORVAAccountUser::setCurrentUser(user);
  EXPECT_EQ(ORVAAccountUser::currentUser(), user);
  expectItIsNamed();
  EXPECT_EQ(uuid(), installation);

  const auto after = stateOfPlace();
  EXPECT_EQ(after.st_ino, before.st_ino);
  EXPECT_EQ(after.st_mode, before.st_mode);
  EXPECT_EQ(after.st_mtim.tv_nsec, before.st_mtim.tv_nsec);

  fs::remove_all(place);
  fs::rename(kept, place);
  EXPECT_EQ(restored(), "someone");
  EXPECT_EQ(keychainStatus().lastError(), errSecSuccess);
}

// The link leads to the good item: it would be read if the link were followed.
void makeLink(const fs::path& place) {
  auto home = place;
  while (!fs::exists(home / "kept")) home = home.parent_path();
  fs::create_symlink(home / "kept", place);
}
void makeFIFO(const fs::path& place) { ASSERT_EQ(mkfifo(place.c_str(), 0600), 0); }
void makeFile(const fs::path& place) { writeContent(place, "in the way"); }
void makeDirectory(const fs::path& place) { fs::create_directory(place); }
void makeSharedFile(const fs::path& place) {
  writeContent(place, "planted");
  fs::permissions(place, fs::perms(0666));
}
void makeSharedDirectory(const fs::path& place) {
  fs::create_directory(place);
  fs::permissions(place, fs::perms(0777));
}

INSTANTIATE_TEST_SUITE_P(
    , UserCacheRefusal,
    ::testing::Values(
        Obstacle{"LinkForTheItem", false, makeLink, "is a link"},
        Obstacle{"FIFOForTheItem", false, makeFIFO, "is not a regular file"},
        Obstacle{"DirectoryForTheItem", false, makeDirectory, "is not a regular file"},
        Obstacle{"ItemThatOthersMayWrite", false, makeSharedFile, "can be written by others"},
        Obstacle{"LinkForTheDirectory", true, makeLink, "is a link"},
        Obstacle{"FIFOForTheDirectory", true, makeFIFO, "is not a directory"},
        Obstacle{"FileForTheDirectory", true, makeFile, "is not a directory"},
        Obstacle{"DirectoryThatOthersMayWrite", true, makeSharedDirectory,
                 "can be written by others"}),
    [](const auto& instance) { return std::string(instance.param.name); });

class UserCacheWithoutHome : public testing::UserCacheTest {
 protected:
  UserCacheWithoutHome() {
    theUserDatabaseKnowsNobody = true;
    for (const char* name : {"HOME", "XDG_CONFIG_HOME", "XDG_DATA_HOME"}) unsetenv(name);
  }
};

TEST_F(UserCacheWithoutHome, KeepsTheUserForThisProcessAndSaysWhatIsMissing) {
  EXPECT_EQ(restored(), "(nobody)");
  const auto user = userNamed("someone");
  ORVAAccountUser::setCurrentUser(user);
  EXPECT_EQ(ORVAAccountUser::currentUser(), user);
  EXPECT_EQ(restored(), "(nobody)");
  const auto status = keychainStatus();
  EXPECT_NE(status.lastError(), errSecSuccess);
  EXPECT_NE(status.remedy().find("HOME"), std::string::npos) << status.remedy();
  ORVAAccountUser::setCurrentUser(nullptr);
  EXPECT_EQ(ORVAAccountUser::currentUser(), nullptr);
}

TEST_F(UserCacheWithoutHome, IgnoresRelativePaths) {
  const auto folder = fs::current_path();
  fs::current_path(home.path());
  for (const char* name : {"HOME", "XDG_CONFIG_HOME", "XDG_DATA_HOME"}) setenv(name, "here", 1);
  signIn("someone");
  EXPECT_EQ(restored(), "(nobody)");
  EXPECT_TRUE(fs::is_empty(home.path()));
  fs::current_path(folder);
}

}  // namespace
}  // namespace orx
