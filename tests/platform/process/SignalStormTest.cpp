// SPDX-License-Identifier: MIT
// Storage on a thread that gets signals faster than its system calls end.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <unistd.h>

#include <thread>

#include "platform/base/Limits.h"
#include "platform/keychain/PolicyKeychainStore.h"
#include "platform/process/Signals.h"
#include "platform/storage/UserDefaults.h"
#include "support/Await.h"
#include "support/ChildProcess.h"
#include "support/SignalStorm.h"
#include "support/SlowFiles.h"
#include "support/StorageHome.h"
#include "support/TemporaryDirectory.h"

namespace orx {

using namespace platform;
namespace {

using std::chrono::milliseconds;
using testing::SignalStorm;
using Clock = std::chrono::steady_clock;

// Runs `work` on a new thread whose file calls last longer than the interval between signals.
void inAStorm(const std::function<void()>& work) {
  testing::withSlowFiles(milliseconds(1), [&] {
    const SignalStorm storm;
    work();
  });
}

Deadline late() { return Clock::now() + testing::patience; }

StoredDirectory openDirectory(const std::filesystem::path& path) {
  return **StoredDirectory::open(path, StoredDirectory::Kind::Private,
                                 StoredDirectory::Missing::Create);
}

TEST(Uninterrupted, EndsACallThatSignalsNeverLetEnd) {
  const testing::TemporaryDirectory directory;
  const FileDescriptor file(open(directory.path().c_str(), O_RDONLY | O_DIRECTORY));
  testing::withSlowFiles(milliseconds(200), [&] {
    const SignalStorm storm;
    for (int i = 0; i < 300; ++i) {
      ASSERT_EQ(fsync(file.get()), -1);
      ASSERT_EQ(errno, EINTR);
    }
    EXPECT_EQ(uninterrupted([&] { return fsync(file.get()); }), 0);
  });
}

TEST(Uninterrupted, GivesUpAFileSystemThatIsInterruptedByItself) {
  sigset_t before;
  pthread_sigmask(SIG_BLOCK, nullptr, &before);
  const auto result = uninterrupted([] {
    errno = EINTR;
    return -1;
  });
  EXPECT_EQ(errno, EINTR);
  EXPECT_EQ(result, -1);
  sigset_t after;
  pthread_sigmask(SIG_BLOCK, nullptr, &after);
  EXPECT_EQ(sigismember(&after, SIGTERM), sigismember(&before, SIGTERM));
}

class SignalStormTest : public ::testing::Test {
 protected:
  testing::StorageHome home;
};

TEST_F(SignalStormTest, LosesNothingOfTheDefaults) {
  auto& defaults = *UserDefaults::standardUserDefaults();
  inAStorm([&] {
    for (int i = 0; i < 8; ++i) {
      const auto value = std::to_string(i);
      ASSERT_TRUE(defaults.setString_forKey(value, "key"));
      const auto reading = defaults.stringForKey("key");
      ASSERT_TRUE(reading);
      ASSERT_EQ(**reading, value);
      ASSERT_TRUE(defaults.synchronize());
    }
    ASSERT_TRUE(defaults.removeObjectForKey("key"));
    EXPECT_FALSE(*defaults.stringForKey("key"));
  });
  EXPECT_GT(SignalStorm::caught(), 0);
}

TEST_F(SignalStormTest, LosesNothingOfTheFileStore) {
  PolicyKeychainStore store({}, [] { return KeychainPolicy::FileOnly; });
  const KeychainItem item{.service = "com.example.service", .account = "someone"};
  inAStorm([&] {
    for (int i = 0; i < 4; ++i) {
      const Data bytes(std::to_string(i));
      ASSERT_TRUE(store.add(item, Data(), late()));
      ASSERT_TRUE(store.update(item, bytes, late()));
      const auto read = store.copy(item, late());
      ASSERT_TRUE(read);
      ASSERT_EQ(*read, bytes);
      ASSERT_TRUE(store.remove(item, late()));
    }
  });
  EXPECT_GT(SignalStorm::caught(), 0);
}

TEST_F(SignalStormTest, DoesNotEndTheWaitForALockThatAnotherProcessHolds) {
  const auto directory = openDirectory(home.path() / "locked");
  testing::ChildProcess holder([&] {
    const auto taking = directory.lock("lock", late());
    if (!taking || !directory.replace("held", Data(), StoredDirectory::Previous::Discard)) return 1;
    std::this_thread::sleep_for(milliseconds(300));
    return 0;
  });
  ASSERT_TRUE(testing::eventually([&] { return directory.exists("held").value_or(false); }));
  inAStorm([&] { EXPECT_TRUE(directory.lock("lock", late())); });
  EXPECT_EQ(holder.wait(), 0);
}

TEST_F(SignalStormTest, LeavesTheDeadlineOfALockWhereItIs) {
  const auto directory = openDirectory(home.path() / "locked");
  const auto held = directory.lock("lock", late());
  ASSERT_TRUE(held);
  inAStorm([&] {
    const auto deadline = Clock::now() + milliseconds(100);
    const auto taking = directory.lock("lock", deadline);
    EXPECT_GE(Clock::now(), deadline);
    ASSERT_FALSE(taking);
    EXPECT_TRUE(isLockedByAnother(*taking.error()));
  });
}

}  // namespace
}  // namespace orx
