// SPDX-License-Identifier: MIT
#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <thread>

#include "platform/storage/StoredDirectoryFixture.h"
#include "support/Await.h"
#include "support/ChildProcess.h"
#include "support/ProcessorTime.h"

namespace orx {

using namespace platform;
namespace {

using testing::ChildProcess;
using Clock = std::chrono::steady_clock;

class FileLockTest : public ::testing::Test {
 protected:
  static Deadline soon() { return Clock::now() + std::chrono::milliseconds(50); }
  static Deadline late() { return Clock::now() + testing::patience; }

  // A child that holds the lock until it is killed. Returns once the child has it.
  std::unique_ptr<ChildProcess> lockingChild() {
    std::array<int, 2> ends{};
    EXPECT_EQ(pipe(ends.data()), 0);
    auto child = std::make_unique<ChildProcess>([&] {
      const auto taking = directory.lock("lock", late());
      if (write(ends[1], "x", 1) != 1) return 1;
      pause();
      return 0;
    });
    close(ends[1]);
    char said = 0;
    EXPECT_EQ(read(ends[0], &said, 1), 1);
    close(ends[0]);
    return child;
  }

  testing::TemporaryDirectory temporary;
  StoredDirectory directory = **StoredDirectory::open(
      temporary.path(), StoredDirectory::Kind::Private, StoredDirectory::Missing::Create);
};

TEST_F(FileLockTest, KeepsOutAnotherThreadUntilItGoes) {
  auto held = std::make_optional(directory.lock("lock", late()));
  ASSERT_TRUE(*held);
  EXPECT_TRUE(isLockedByAnother(*directory.lock("lock", soon()).error()));
  testing::Event taken;
  std::thread waiter([&] {
    if (directory.lock("lock", late())) taken.set();
  });
  held.reset();
  EXPECT_TRUE(taken.wait());
  waiter.join();
}

TEST_F(FileLockTest, WaitsNoLongerThanToTheDeadlineAndNamesTheFile) {
  const auto child = lockingChild();
  const auto taking = directory.lock("lock", soon());
  ASSERT_FALSE(taking);
  EXPECT_NE(taking.error()->localizedDescription().find("lock is locked by another process"),
            std::string::npos);
  EXPECT_EQ(taking.error()->userInfo()[NSFilePathErrorKey], (temporary / "lock").string());
}

TEST_F(FileLockTest, EndsWithAProcessThatIsKilled) {
  const auto child = lockingChild();
  ASSERT_FALSE(directory.lock("lock", soon()));
  child->kill(SIGKILL);
  EXPECT_TRUE(directory.lock("lock", late()));
}

TEST_F(FileLockTest, IsNotKeptByAChildThatWasForkedMeanwhile) {
  auto held = std::make_optional(directory.lock("lock", late()));
  const ChildProcess child([] {
    pause();
    return 0;
  });
  held.reset();
  EXPECT_TRUE(directory.lock("lock", soon()));
}

// The process that holds the lock forks and is killed; its child lives on.
TEST_F(FileLockTest, IsNotKeptByAChildOfAProcessThatIsKilled) {
  std::array<int, 2> said{};
  std::array<int, 2> alive{};
  ASSERT_EQ(pipe(said.data()) + pipe(alive.data()), 0);
  ChildProcess holder([&] {
    close(alive[1]);
    const auto taking = directory.lock("lock", late());
    const bool isChild = fork() == 0;
    if (isChild && write(said[1], "x", 1) != 1) return 1;
    char ended = 0;
    // Ends with the test.
    return isChild ? static_cast<int>(read(alive[0], &ended, 1)) : pause();
  });
  char byte = 0;
  ASSERT_EQ(read(said[0], &byte, 1), 1);
  holder.kill(SIGKILL);
  holder.wait();
  EXPECT_TRUE(directory.lock("lock", soon()));
  for (const int end : {said[0], said[1], alive[0], alive[1]}) close(end);
}

TEST_F(FileLockTest, LetsManyShareItAndKeepsOutWhoDoesNot) {
  const auto first = directory.lock("lock", late(), FileLock::Mode::Shared);
  ASSERT_TRUE(first);
  {
    const auto second = directory.lock("lock", soon(), FileLock::Mode::Shared);
    EXPECT_TRUE(second);
  }
  EXPECT_FALSE(directory.lock("lock", soon()));
  auto elsewhere = std::make_optional(directory.lock("other", late()));
  EXPECT_FALSE(directory.lock("other", soon(), FileLock::Mode::Shared));
  elsewhere.reset();
  EXPECT_TRUE(directory.lock("other", soon(), FileLock::Mode::Shared));
}

// Open for writing, because a network file system locks no other file exclusively.
TEST_F(FileLockTest, WorksWithAFileThatAFileCreationMaskHadShut) {
  const auto file = temporary / "lock";
  ChildProcess child([&] {
    testing::beAnOrdinaryUser(temporary.path());
    for (const mode_t mode : {0000U, 0400U}) {
      if (mknod(file.c_str(), S_IFREG, 0) != 0 || chmod(file.c_str(), mode) != 0) return 1;
      const auto taking = directory.lock("lock", late());
      if (!taking) return 2;
      if ((fcntl(taking->descriptor(), F_GETFL) & O_ACCMODE) != O_RDWR) return 3;
      if (testing::modeOf(file) != 0600U) return 4;
      std::filesystem::remove(file);
    }
    return 0;
  });
  EXPECT_EQ(child.wait(), 0);
}

TEST_F(FileLockTest, IsTakenWhereNothingCanBeWritten) {
  if (geteuid() != 0) {
    // Only root can make a file of another user; other users may write to each of their own.
    ASSERT_NE(chown(temporary.path().c_str(), 0, 0), 0);
    return;
  }
  ASSERT_TRUE(directory.lock("lock", late()));
  ASSERT_EQ(chmod(temporary.path().c_str(), 0755) + chmod((temporary / "lock").c_str(), 0644), 0);
  ChildProcess child([&] {
    constexpr uid_t nobody = 65'534;
    if (setresuid(nobody, nobody, nobody) != 0) return 1;
    const auto settings = StoredDirectory::open(temporary.path(), StoredDirectory::Kind::Settings,
                                                StoredDirectory::Missing::DoNotCreate);
    if (!settings) return 2;
    return (*settings)->lock("lock", soon()) ? 0 : 3;
  });
  EXPECT_EQ(child.wait(), 0);
}

TEST_F(FileLockTest, CostsHardlyAnyProcessorTimeWhileItWaits) {
  const auto child = lockingChild();
  const auto waited = std::chrono::milliseconds(100);
  const auto used = testing::leastProcessorTime(
      [&] { EXPECT_FALSE(directory.lock("lock", Clock::now() + waited)); });
  EXPECT_LT(used, waited / 10);
}

TEST_F(FileLockTest, MovesToTheNewFileWhenTheOldOneWasRemovedMeanwhile) {
  auto old = std::make_optional(directory.lock("lock", late()));
  testing::Event taken;
  testing::Event checked;
  std::thread waiter([&] {
    const auto taking = directory.lock("lock", late());
    if (taking) taken.set();
    EXPECT_TRUE(checked.wait());
  });
  std::filesystem::remove(temporary / "lock");
  old.reset();
  ASSERT_TRUE(taken.wait());
  EXPECT_FALSE(directory.lock("lock", soon()));
  checked.set();
  waiter.join();
}

TEST_F(FileLockTest, RefusesALinkAndAFIFO) {
  std::filesystem::create_symlink(temporary / "elsewhere", temporary / "link");
  ASSERT_EQ(mkfifo((temporary / "fifo").c_str(), 0600), 0);
  for (const auto* name : {"link", "fifo"}) {
    const auto taking = directory.lock(name, late());
    ASSERT_FALSE(taking) << name;
    EXPECT_TRUE(isRefusal(*taking.error())) << name;
  }
  EXPECT_FALSE(std::filesystem::exists(temporary / "elsewhere"));
}

}  // namespace
}  // namespace orx
