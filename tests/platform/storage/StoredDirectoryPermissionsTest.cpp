// SPDX-License-Identifier: MIT
#include "allocations/FailingAllocation.h"
#include "platform/storage/StoredDirectoryFixture.h"
#include "support/ChildProcess.h"
#include "support/StorageHome.h"

namespace orx {

using namespace platform;
namespace {

namespace fs = std::filesystem;
using testing::beAnOrdinaryUser;
using testing::detail;
using testing::modeOf;
using testing::StoredDirectoryTest;
using Kind = StoredDirectory::Kind;
using Missing = StoredDirectory::Missing;

TEST_F(StoredDirectoryTest, IsForItsOwnerAloneWhateverTheFileCreationMask) {
  for (const mode_t mask : {0000, 0022, 0777}) {
    fs::remove_all(temporary / "deep");
    const mode_t before = umask(mask);
    {
      const auto directory = open();
      EXPECT_TRUE(directory.replace("file", Data("secret")));
      EXPECT_TRUE(directory.lock("lock", std::chrono::steady_clock::now()));
    }
    umask(before);
    EXPECT_EQ(modeOf(file), 0600U) << mask;
    EXPECT_EQ(modeOf(path / "lock"), 0600U) << mask;
    for (auto made = path; made != temporary.path(); made = made.parent_path()) {
      EXPECT_EQ(modeOf(made), 0700U) << made;
    }
  }
}

TEST_F(StoredDirectoryTest, KeepsTheMarkThatPassesAGroupOn) {
  fs::permissions(temporary.path(), fs::perms(02700));
  open();
  for (auto made = path; made != temporary.path(); made = made.parent_path()) {
    EXPECT_EQ(modeOf(made), 02700U) << made;
  }
}

TEST_F(StoredDirectoryTest, IsClosedToOthersAgainByTheNextWriteEvenOfEqualBytes) {
  const auto directory = open();
  ASSERT_TRUE(directory.replace("file", Data("same")));
  fs::permissions(file, fs::perms(0644));
  ASSERT_TRUE(directory.replace("file", Data("same")));
  EXPECT_EQ(modeOf(file), 0600U);
}

TEST_F(StoredDirectoryTest, IsRefusedInAPrivateDirectoryThatOthersMayWriteTo) {
  open();
  for (const unsigned mode : {0720U, 0702U, 0777U}) {
    fs::permissions(path, fs::perms(mode));
    const auto opening = StoredDirectory::open(path, Kind::Private, Missing::Create);
    ASSERT_FALSE(opening) << mode;
    EXPECT_TRUE(isRefusal(*opening.error()));
    EXPECT_NE(detail(*opening.error(), NSLocalizedRecoverySuggestionErrorKey)
                  .find("chmod 700 " + path.string()),
              std::string::npos);
    EXPECT_EQ(modeOf(path), mode);
  }
}

TEST_F(StoredDirectoryTest, ClosesAPrivateDirectoryThatOthersMayLookInto) {
  open();
  for (const unsigned mode : {0755U, 0740U, 0710U, 0704U, 0701U}) {
    fs::permissions(path, fs::perms(mode));
    open();
    EXPECT_EQ(modeOf(path), 0700U) << mode;
  }
}

TEST_F(StoredDirectoryTest, OpensUpWhatAProcessThatDiedHadMadeUnderAHarshMask) {
  testing::ChildProcess child([&] {
    beAnOrdinaryUser(temporary.path());
    for (const auto& made : {temporary / "deep", temporary / "deep/er", path}) {
      fs::create_directories(made);
      fs::permissions(made, fs::perms::none);
      if (!StoredDirectory::open(path, Kind::Private, Missing::DoNotCreate)) return 1;
      if (!open().replace("file", Data("new")) || modeOf(path) != 0700U) return 2;
      fs::remove_all(temporary / "deep");
    }
    return 0;
  });
  EXPECT_EQ(child.wait(), 0);
}

TEST_F(StoredDirectoryTest, LeavesADirectoryShutThatHoldsSomething) {
  testing::ChildProcess child([&] {
    beAnOrdinaryUser(temporary.path());
    if (!open().replace("file", Data("old"))) return 1;
    for (const unsigned mode : {0000U, 0200U, 0055U}) {
      fs::permissions(path, fs::perms(mode));
      for (const auto missing : {Missing::DoNotCreate, Missing::Create}) {
        const auto opening = StoredDirectory::open(path, Kind::Private, missing);
        if (opening || opening.error()->code() != EACCES) return 2;
        if (modeOf(path) != mode) return 3;
      }
    }
    fs::permissions(path, fs::perms(0700));
    return 0;
  });
  EXPECT_EQ(child.wait(), 0);
}

TEST_F(StoredDirectoryTest, LeavesADirectoryShutThatHoldsSomethingWithoutMemoryToo) {
  testing::ChildProcess child([&] {
    beAnOrdinaryUser(temporary.path());
    if (!open().replace("file", Data("old"))) return 1;
    fs::permissions(path, fs::perms::none);
    for (std::size_t number = 0;; ++number) {
      const auto attempt = testing::withFailingAllocation(number, [&] {
        static_cast<void>(StoredDirectory::open(path, Kind::Private, Missing::Create));
      });
      if (modeOf(path) != 0U) return 2;
      if (!attempt.hasFailed) break;
    }
    fs::permissions(path, fs::perms(0700));
    return 0;
  });
  EXPECT_EQ(child.wait(), 0);
}

TEST_F(StoredDirectoryTest, SaysThatAFileCannotBeRemoved) {
  testing::ChildProcess child([&] {
    beAnOrdinaryUser(temporary.path());
    const auto directory = open();
    if (!directory.replace("file", Data("kept"))) return 1;
    fs::permissions(path, fs::perms(0500));
    const auto removed = directory.remove("file");
    fs::permissions(path, fs::perms(0700));
    if (removed || removed.error()->code() != EACCES) return 2;
    return detail(*removed.error(), NSFilePathErrorKey) == file && fs::exists(file) ? 0 : 3;
  });
  EXPECT_EQ(child.wait(), 0);
}

TEST_F(StoredDirectoryTest, SaysThatALockCannotBeMadeRatherThanThatThereIsNone) {
  testing::ChildProcess child([&] {
    beAnOrdinaryUser(temporary.path());
    const auto directory = open();
    fs::permissions(path, fs::perms(0500));
    const auto lock = directory.lock("lock", std::chrono::steady_clock::now());
    return !lock && lock.error()->code() == EACCES ? 0 : 1;
  });
  EXPECT_EQ(child.wait(), 0);
}

}  // namespace
}  // namespace orx
