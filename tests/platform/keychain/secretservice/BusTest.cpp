// SPDX-License-Identifier: MIT
// Buses that are missing, silent, dying, or that start a service on demand.

#include <unistd.h>

#include <cstdlib>
#include <thread>

#include "platform/keychain/secretservice/FakeBus.h"
#include "platform/keychain/secretservice/ServiceFixture.h"
#include "support/Await.h"
#include "support/ChildProcess.h"
#include "support/LoopbackListener.h"
#include "support/ThreadLimit.h"

namespace orx {

using namespace platform;
namespace {

using std::chrono::milliseconds;
using testing::FakeBus;
using testing::KeychainOperation;

constexpr auto operations = {KeychainOperation::Read, KeychainOperation::Add,
                             KeychainOperation::Update, KeychainOperation::Delete};

class Bus : public testing::ServiceFixture {
 protected:
  Bus() { bus.reset(); }

  void expectEach(OSStatus status, bool missing, milliseconds patience = std::chrono::seconds(20)) {
    for (const auto operation : operations) {
      const auto ending = run(operation, patience);
      EXPECT_EQ(ending.status, status);
      EXPECT_EQ(ending.storeMissing, missing);
    }
  }
  void setAddress(const std::string& address) {
    setenv("DBUS_SESSION_BUS_ADDRESS", address.c_str(), 1);
  }
  std::string command() const {
    return std::string(ORX_SCRIPTED_SECRET_SERVICE) + " " + (home.path() / "script").string() +
           " " + (home.path() / "items").string() + " " + (home.path() / "log").string();
  }
};

TEST_F(Bus, DoesNotExistWithoutAnAddress) {
  expectEach(errSecNotAvailable, true);
  setAddress("");
  expectEach(errSecNotAvailable, true);
  setAddress("disabled:");
  expectEach(errSecNotAvailable, true);
}

TEST_F(Bus, DoesNotExistWhereNobodyListens) {
  setAddress("unix:path=" + (home.path() / "nowhere").string());
  expectEach(errSecNotAvailable, true);
  { const FakeBus gone(home.path() / "gone"); }
  setAddress("unix:path=" + (home.path() / "gone").string());
  expectEach(errSecNotAvailable, true);
}

TEST_F(Bus, IsFoundInTheRuntimeDirectory) {
  bus.emplace(home.path());
  startWithItem("");
  unsetenv("DBUS_SESSION_BUS_ADDRESS");
  setenv("XDG_RUNTIME_DIR", home.path().c_str(), 1);
  EXPECT_EQ(read().bytes, "old");
}

TEST_F(Bus, IsNotTakenFromTheRuntimeDirectoryWhereItIsAnotherUsers) {
  if (geteuid() != 0) {
    // Only root can give a socket to another user.
    ASSERT_NE(chown(home.path().c_str(), 0, 0), 0);
    return;
  }
  bus.emplace(home.path());
  startWithItem("");
  unsetenv("DBUS_SESSION_BUS_ADDRESS");
  setenv("XDG_RUNTIME_DIR", home.path().c_str(), 1);
  ASSERT_EQ(chown((home.path() / "bus").c_str(), 65'534, 65'534), 0);
  expectEach(errSecNotAvailable, true);
  EXPECT_EQ(service.calls("SearchItems"), 0);
}

TEST_F(Bus, ThatAcceptsAndNeverAnswersIsSilentAndNoReasonToStandIn) {
  const FakeBus silent(home.path() / "silent");
  setAddress("unix:path=" + (home.path() / "silent").string());
  expectEach(errSecNotAvailable, false, milliseconds(200));
}

TEST_F(Bus, ThatRefusesTheUserIsAnError) {
  const FakeBus refusing(home.path() / "refusing",
                         {{.heard = "", .said = "REJECTED\r\nREJECTED\r\nREJECTED\r\n"}});
  setAddress("unix:path=" + (home.path() / "refusing").string());
  expectEach(errSecNotAvailable, false);
}

TEST_F(Bus, WithAnAddressThatIsNoneIsAnError) {
  setAddress("nonsense");
  expectEach(errSecNotAvailable, false);
}

TEST_F(Bus, ThatIsNoLocalSocketIsNotSpokenToAndNoReasonToStandIn) {
  const testing::LoopbackListener listener(SOCK_NONBLOCK);
  const auto remote = "tcp:host=127.0.0.1,port=" + std::to_string(listener.port());
  const auto program = "unixexec:path=/usr/bin/touch,argv1=" + (home.path() / "run").string();
  bus.emplace(home.path());
  startWithItem("");
  const std::string local = getenv("DBUS_SESSION_BUS_ADDRESS");
  const auto first = std::string(remote).append(";").append(local);
  const auto last = std::string(local).append(";").append(remote);
  for (const auto& address : {remote, program, first, last}) {
    setAddress(address);
    expectEach(errSecNotAvailable, false);
  }
  EXPECT_EQ(listener.accept(), -1);
  EXPECT_FALSE(std::filesystem::exists(home.path() / "run"));
  EXPECT_EQ(service.calls("OpenSession"), 0);
  setAddress(local + ";" + local);
  EXPECT_EQ(read().bytes, "old");
}

TEST_F(Bus, WithoutAServiceHasNone) {
  bus.emplace(home.path());
  expectEach(errSecNotAvailable, true);
}

TEST_F(Bus, StartsTheServiceThatItKnows) {
  bus.emplace(home.path(), command());
  EXPECT_EQ(run(KeychainOperation::Add).status, errSecSuccess);
  EXPECT_EQ(read().bytes, "new");
}

TEST_F(Bus, WhoseServiceHangsWhenStartedIsSilent) {
  bus.emplace(home.path(), "/usr/bin/tail --pid=" + std::to_string(getpid()) + " -f /dev/null");
  expectEach(errSecNotAvailable, false, milliseconds(200));
}

TEST_F(Bus, WhoseServiceCannotBeStartedIsAnError) {
  bus.emplace(home.path(), "/bin/false");
  expectEach(errSecNotAvailable, false);
  bus.reset();
  bus.emplace(home.path(), "/nonexistent/program");
  expectEach(errSecNotAvailable, false);
}

TEST_F(Bus, ThatDiesInMidCallIsAnError) {
  for (const auto operation : operations) {
    bus.reset();
    bus.emplace(home.path());
    startWithItem("SearchItems silent");
    std::thread killer([&] {
      EXPECT_TRUE(testing::eventually([&] { return service.calls("SearchItems") > 0; }));
      bus->kill();
    });
    EXPECT_EQ(run(operation).status, errSecIO);
    killer.join();
  }
}

// GIO keeps a thread that a forked child does not have, so a call in the child would hang.
TEST_F(Bus, IsRefusedToAForkedChildOfAProcessThatHasUsedIt) {
  bus.emplace(home.path());
  startWithItem("");
  testing::ChildProcess before([&] { return read().bytes == "old" ? 0 : 1; });
  EXPECT_EQ(before.wait(), 0);
  EXPECT_EQ(read().bytes, "old");
  testing::ChildProcess after([&] {
    const auto ending = read();
    return ending.status == errSecNotAvailable && !ending.storeMissing ? 0 : 1;
  });
  EXPECT_EQ(after.wait(), 0);
}

// GLib would end the process for want of a thread of its own.
TEST_F(Bus, IsAnErrorWhereTheSystemHasTooFewThreadsForGIO) {
  if (!testing::canLimitThreads()) GTEST_SKIP() << "only root's processes can be limited";
  const FakeBus silent(home.path() / "silent");
  setAddress("unix:path=" + (home.path() / "silent").string());
  // The child is another user's.
  std::filesystem::permissions(home.path(), std::filesystem::perms{0755});
  std::filesystem::permissions(home.path() / "silent", std::filesystem::perms{0777});
  const auto statusWith = [&](std::size_t threads) {
    return testing::statusWithThreads(threads, [&] {
      return run(KeychainOperation::Read, milliseconds(500)).status == errSecIO ? 1 : 2;
    });
  };
  EXPECT_EQ(statusWith(0), 1);
  // One is the operation's own.
  EXPECT_EQ(statusWith(1), 1);
  EXPECT_EQ(statusWith(2), 1);
  // It is silent then.
  EXPECT_EQ(statusWith(3), 2);
}

}  // namespace
}  // namespace orx
