// SPDX-License-Identifier: MIT
#include <ORXAccount/ORVAAccountConstants.h>
#include <ORXAccount/ORVAAccountKeychain.h>
#include <ORXAccount/ORVAAccountUser.h>
#include <ORXAccount/ORVAAccountUserCache.h>
#include <ORXAccount/platform/NotificationCenter.h>
#include <gtest/gtest.h>

#include <thread>
#include <vector>

#include "platform/formats/KeyedUnarchiver.h"
#include "platform/keychain/SecItemFunctions.h"
#include "platform/keychain/StoreStatus.h"
#include "platform/storage/StoredDirectory.h"
#include "platform/storage/UserDefaults.h"
#include "support/Await.h"
#include "support/ChildProcess.h"
#include "support/StorageHome.h"

namespace orx {

using namespace platform;
namespace {

namespace fs = std::filesystem;

std::shared_ptr<ORVAAccountUser> userNamed(std::string_view login) {
  return ORVAAccountUser::initWithUserInfo(Dictionary{{"login", login}, {"country", "TWN"}});
}

class CurrentUserTest : public ::testing::Test {
 protected:
  struct Seen {
    std::shared_ptr<Object> newUser;
    std::shared_ptr<Object> oldUser;
    std::size_t entries;
    std::shared_ptr<Object> sender;
  };

  std::string stored() {
    const auto user = ORVAAccountUserCache::sharedInstance()->cachedUser();
    return user ? user->login().value_or("(no login)") : "(nobody)";
  }

  // While this lock is held, storing an item waits.
  Result<FileLock> keychainLock() {
    const auto directory =
        StoredDirectory::open(home.keychainDirectory(), StoredDirectory::Kind::Private,
                              StoredDirectory::Missing::DoNotCreate);
    return (*directory)->lock("lock", Deadline::max());
  }

  // Somebody signs in, and the sign-out cannot remove the item.
  void signOutInVain() {
    setKeychainPolicy(KeychainPolicy::FileOnly);
    ORVAAccountUser::setCurrentUser(userNamed("someone"));
    const auto held = keychainLock();
    setKeychainPatience(std::chrono::milliseconds(10));
    ORVAAccountUser::setCurrentUser(nullptr);
  }

  testing::StorageHome home;
  std::vector<Seen> seen;
  Observation observation =
      NotificationCenter::defaultCenter()->addObserverForName_object_usingBlock(
          ORVAAccountUserDidChangeNotification, nullptr, [this](const Notification& notification) {
            const auto& info = notification.userInfo();
            seen.push_back({.newUser = info[ORVAAccountUserChangeNewKey].object(),
                            .oldUser = info[ORVAAccountUserChangeOldKey].object(),
                            .entries = info.size(),
                            .sender = notification.object()});
          });
};

TEST_F(CurrentUserTest, IsNobodyAtFirstWhateverIsStored) {
  EXPECT_EQ(ORVAAccountUser::currentUser(), nullptr);
  ORVAAccountUserCache::sharedInstance()->setCachedUser(userNamed("stored"));
  EXPECT_EQ(ORVAAccountUser::currentUser(), nullptr);
}

TEST_F(CurrentUserTest, LeavesASignOutThatFailedInTheStatusUntilAnotherSignOutFinishesIt) {
  signOutInVain();
  ASSERT_NO_THROW(home.onlyItemFile());
  const auto reason = keychainStatus();
  EXPECT_NE(reason.lastError(), errSecSuccess);
  EXPECT_EQ(reason.path(), (home.keychainDirectory() / "lock").string());
  const auto other = ORVAAccountKeychain::initWithServiceID("another");
  EXPECT_TRUE(other->setData_forKey(Data("bytes"), "key"));
  EXPECT_TRUE(other->setData_forKey(std::nullopt, "key"));
  EXPECT_EQ(keychainStatus().description(), reason.description());

  ORVAAccountUser::setCurrentUser(nullptr);
  EXPECT_ANY_THROW(home.onlyItemFile());
  EXPECT_EQ(keychainStatus().description(), "");
  EXPECT_EQ(seen.size(), 2U) << "signed in, signed out";
}

TEST_F(CurrentUserTest, LeavesWhoeverHasSignedInElsewhereSinceASignOutThatFailed) {
  signOutInVain();
  testing::ChildProcess elsewhere([&] {
    setKeychainPatience(std::chrono::seconds(30));
    ORVAAccountUser::setCurrentUser(userNamed("another"));
    return keychainStatus().description().empty() ? 0 : 1;
  });
  ASSERT_EQ(elsewhere.wait(), 0);
  EXPECT_NE(keychainStatus().description(), "");
  ORVAAccountUser::setCurrentUser(nullptr);
  EXPECT_EQ(stored(), "another");
  EXPECT_EQ(keychainStatus().description(), "");
}

TEST_F(CurrentUserTest, LeavesWhoeverHasSignedInElsewhereSinceTheDefaultsCouldNotBeChanged) {
  setKeychainPolicy(KeychainPolicy::FileOnly);
  ORVAAccountUser::setCurrentUser(userNamed("someone"));
  testing::writeContent(home.defaultsFile(), "damaged");
  ORVAAccountUser::setCurrentUser(nullptr);
  testing::ChildProcess elsewhere([&] {
    ORVAAccountUser::setCurrentUser(userNamed("another"));
    return stored() == "another" ? 0 : 1;
  });
  ASSERT_EQ(elsewhere.wait(), 0);
  ORVAAccountUser::setCurrentUser(nullptr);
  EXPECT_EQ(stored(), "another");
}

// The item that the sign-out left is foreign until the other process has stored its own.
TEST_F(CurrentUserTest, LeavesAloneWhoeverIsSigningInElsewhereSinceASignOutThatFailed) {
  signOutInVain();
  const auto& defaults = *UserDefaults::standardUserDefaults();
  const auto held = defaults.lockTransaction(std::chrono::steady_clock::now() + testing::patience);
  ASSERT_TRUE(held && *held);
  const auto before = testing::snapshotOf(home.path());
  ORVAAccountUser::setCurrentUser(nullptr);
  EXPECT_EQ(testing::snapshotOf(home.path()), before);
}

TEST_F(CurrentUserTest, NamesWhatASignOutLeftAtEachStartUntilOneRemovesIt) {
  setKeychainPolicy(KeychainPolicy::FileOnly);
  ORVAAccountUser::setCurrentUser(userNamed("someone"));
  setKeychainPatience(std::chrono::milliseconds(10));
  {
    const auto held = keychainLock();
    ORVAAccountUser::setCurrentUser(nullptr);
    testing::ChildProcess start([&] {
      EXPECT_EQ(stored(), "(nobody)");
      return keychainStatus().path() == (home.keychainDirectory() / "lock").string() ? 0 : 1;
    });
    EXPECT_EQ(start.wait(), 0);
  }
  testing::ChildProcess start([&] { return stored() == "(nobody)" ? 0 : 1; });
  EXPECT_EQ(start.wait(), 0);
  EXPECT_ANY_THROW(home.onlyItemFile());
}

TEST_F(CurrentUserTest, IsAnnouncedWithTheNewAndTheOldRecordAsFarAsThereAreAny) {
  const auto first = userNamed("first");
  const auto second = userNamed("second");
  ORVAAccountUser::setCurrentUser(first);
  ORVAAccountUser::setCurrentUser(second);
  ORVAAccountUser::setCurrentUser(nullptr);
  ASSERT_EQ(seen.size(), 3U);
  EXPECT_EQ(seen[0].newUser, first);
  EXPECT_EQ(seen[0].entries, 1U);
  EXPECT_EQ(seen[1].newUser, second);
  EXPECT_EQ(seen[1].oldUser, first);
  EXPECT_EQ(seen[1].entries, 2U);
  EXPECT_EQ(seen[2].oldUser, second);
  EXPECT_EQ(seen[2].entries, 1U);
  for (const auto& each : seen) EXPECT_EQ(each.sender, ORVAAccountUser::classObject());
}

TEST_F(CurrentUserTest, IsSetAndStoredBeforeItIsAnnouncedOnTheSettingThread) {
  std::shared_ptr<ORVAAccountUser> current;
  std::string storedThen;
  std::thread::id thread;
  const auto reader = NotificationCenter::defaultCenter()->addObserverForName_object_usingBlock(
      ORVAAccountUserDidChangeNotification, ORVAAccountUser::classObject(),
      [&](const Notification&) {
        current = ORVAAccountUser::currentUser();
        storedThen = stored();
        thread = std::this_thread::get_id();
      });
  const auto user = userNamed("someone");
  ORVAAccountUser::setCurrentUser(user);
  EXPECT_EQ(current, user);
  EXPECT_EQ(storedThen, "someone");
  EXPECT_EQ(thread, std::this_thread::get_id());
}

TEST_F(CurrentUserTest, SetAgainStoresNothingAndAnnouncesNothing) {
  const auto user = userNamed("someone");
  ORVAAccountUser::setCurrentUser(user);
  fs::remove_all(home.path() / "config");
  fs::remove_all(home.path() / "data");
  ORVAAccountUser::setCurrentUser(user);
  EXPECT_EQ(seen.size(), 1U);
  EXPECT_TRUE(testing::snapshotOf(home.path()).empty());
}

TEST_F(CurrentUserTest, IsAnotherOneWithEqualContent) {
  const auto first = userNamed("someone");
  const auto second = userNamed("someone");
  ORVAAccountUser::setCurrentUser(first);
  fs::remove(home.onlyItemFile());
  ORVAAccountUser::setCurrentUser(second);
  ASSERT_EQ(seen.size(), 2U);
  EXPECT_EQ(seen[1].newUser, second);
  EXPECT_EQ(seen[1].oldUser, first);
  EXPECT_EQ(stored(), "someone");
}

TEST_F(CurrentUserTest, IsNoChangeWhenNobodyFollowsNobody) {
  ORVAAccountUserCache::sharedInstance()->setCachedUser(userNamed("stored"));
  const auto before = testing::snapshotOf(home.path());
  ORVAAccountUser::setCurrentUser(nullptr);
  EXPECT_TRUE(seen.empty());
  EXPECT_EQ(testing::snapshotOf(home.path()), before);
}

TEST_F(CurrentUserTest, ChangesEvenWhereNothingCanBeStored) {
  testing::writeContent(home.path() / "config", "no directory");
  testing::writeContent(home.path() / "data", "no directory");
  const auto user = userNamed("someone");
  ORVAAccountUser::setCurrentUser(user);
  EXPECT_EQ(ORVAAccountUser::currentUser(), user);
  EXPECT_EQ(seen.size(), 1U);
  EXPECT_NE(keychainStatus().lastError(), errSecSuccess);
  ORVAAccountUser::setCurrentUser(nullptr);
  EXPECT_EQ(ORVAAccountUser::currentUser(), nullptr);
  EXPECT_EQ(seen.size(), 2U);
}

TEST_F(CurrentUserTest, ChangesEvenWhenTheRecordCannotBeArchived) {
  ORVAAccountUser::setCurrentUser(userNamed("before"));
  const auto user =
      ORVAAccountUser::initWithUserInfo(Dictionary{{"thing", std::make_shared<Object>()}});
  EXPECT_NO_THROW(ORVAAccountUser::setCurrentUser(user));
  EXPECT_EQ(ORVAAccountUser::currentUser(), user);
  EXPECT_EQ(seen.size(), 2U);
  EXPECT_EQ(keychainStatus().lastError(), errSecParam);
}

// What a host puts into a record may change the user while the record is archived.
class Setter final : public SecureCoding {
 public:
  explicit Setter(std::function<void()> work) : work_(std::move(work)) {}
  std::string_view archivedClassName() const override { return "Setter"; }
  void encodeWithCoder(Coder&) const override { work_(); }

 private:
  std::function<void()> work_;
};

TEST_F(CurrentUserTest, IsArchivedWhileNoLockIsHeld) {
  setClass_forClassName([](const Coder&) { return std::make_shared<Setter>([] {}); }, "Setter");
  const auto second = userNamed("second");
  testing::Event done;
  std::thread setter;
  const auto thing = std::make_shared<Setter>([&] {
    setter = std::thread([&] {
      ORVAAccountUser::setCurrentUser(second);
      done.set();
    });
    EXPECT_TRUE(done.wait());
  });
  ORVAAccountUser::setCurrentUser(
      ORVAAccountUser::initWithUserInfo(Dictionary{{"thing", thing}, {"login", "first"}}));
  setter.join();
  ASSERT_EQ(seen.size(), 2U);
  EXPECT_EQ(seen[1].oldUser, second);
  EXPECT_EQ(stored(), "first");
}

TEST_F(CurrentUserTest, CanBeSetByAnObserver) {
  const auto second = userNamed("second");
  const auto setter = NotificationCenter::defaultCenter()->addObserverForName_object_usingBlock(
      ORVAAccountUserDidChangeNotification, nullptr,
      [&](const Notification&) { ORVAAccountUser::setCurrentUser(second); });
  ORVAAccountUser::setCurrentUser(userNamed("first"));
  EXPECT_EQ(ORVAAccountUser::currentUser(), second);
  EXPECT_EQ(stored(), "second");
  EXPECT_EQ(seen.size(), 2U);
}

TEST_F(CurrentUserTest, CanBeSetByAnotherThreadWhileAnObserverRuns) {
  testing::Event entered;
  testing::Event released;
  const auto blocker = NotificationCenter::defaultCenter()->addObserverForName_object_usingBlock(
      ORVAAccountUserDidChangeNotification, nullptr, [&](const Notification& notification) {
        if (notification.userInfo()[ORVAAccountUserChangeOldKey].isNull()) {
          entered.set();
          EXPECT_TRUE(released.wait());
        }
      });
  std::thread setter([] { ORVAAccountUser::setCurrentUser(userNamed("first")); });
  ASSERT_TRUE(entered.wait());
  ORVAAccountUser::setCurrentUser(userNamed("second"));
  EXPECT_EQ(stored(), "second");
  released.set();
  setter.join();
}

TEST_F(CurrentUserTest, IsReadWithoutWaitingForTheStore) {
  ORVAAccountUser::setCurrentUser(userNamed("first"));
  const auto second = userNamed("second");
  // The set below waits for this lock to store the user, but has already made it current.
  auto lock = std::make_optional(keychainLock());
  ASSERT_TRUE(*lock);
  testing::Event done;
  std::thread setter([&] {
    ORVAAccountUser::setCurrentUser(second);
    done.set();
  });
  EXPECT_TRUE(testing::eventually([&] { return ORVAAccountUser::currentUser() == second; }));
  EXPECT_FALSE(done.isSet());
  lock.reset();
  setter.join();
  EXPECT_EQ(stored(), "second");
}

TEST_F(CurrentUserTest, IsTheStoredOneAfterManyThreadsHaveSetIt) {
  observation = Observation();
  std::vector<std::thread> threads;
  threads.reserve(4);
  for (int number = 0; number < 4; ++number) {
    threads.emplace_back([number] {
      for (int round = 0; round < 10; ++round) {
        ORVAAccountUser::setCurrentUser(
            round % 4 == 3 ? nullptr : userNamed(std::to_string(number) + std::to_string(round)));
      }
    });
  }
  for (auto& thread : threads) thread.join();
  const auto current = ORVAAccountUser::currentUser();
  EXPECT_EQ(stored(), current ? current->login() : "(nobody)");
}

TEST_F(CurrentUserTest, CanBeSetInAChildForkedWhileAnotherThreadWasStoring) {
  ORVAAccountUser::setCurrentUser(userNamed("first"));
  auto lock = std::make_optional(keychainLock());
  const auto second = userNamed("second");
  std::thread setter([&] { ORVAAccountUser::setCurrentUser(second); });
  EXPECT_TRUE(testing::eventually([&] { return ORVAAccountUser::currentUser() == second; }));
  testing::ChildProcess child([] {
    const auto third = userNamed("third");
    ORVAAccountUser::setCurrentUser(third);
    return ORVAAccountUser::currentUser() == third ? 0 : 1;
  });
  lock.reset();
  EXPECT_EQ(child.wait(), 0);
  setter.join();
}

}  // namespace
}  // namespace orx
