// SPDX-License-Identifier: MIT
// First uses of the library on one thread while another one forks.
#include <ORXAccount/CallbackExecutor.h>
#include <ORXAccount/LogHandler.h>
#include <ORXAccount/ORVAAccount.h>
#include <ORXAccount/ORVAAccountAPI.h>
#include <ORXAccount/ORVAAccountLoginManager.h>
#include <ORXAccount/ORVAAccountUser.h>
#include <ORXAccount/ORVAAccountUserCache.h>
#include <ORXAccount/platform/Bundle.h>
#include <ORXAccount/platform/Keychain.h>
#include <ORXAccount/platform/NotificationCenter.h>
#include <ORXAccount/platform/URLSessionConfiguration.h>
#include <ORXAccount/platform/XMLParser.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <thread>

#include "config/Servers.h"
#include "platform/formats/KeyedUnarchiver.h"
#include "platform/http/Transport.h"
#include "platform/keychain/SecItemFunctions.h"
#include "platform/queues/OperationQueue.h"
#include "platform/storage/UserDefaults.h"
#include "service/Answer.h"
#include "service/SOAPCall.h"
#include "support/Await.h"
#include "support/ChildProcess.h"

// In a child that is forked beside a busy thread, the address sanitizer's allocator may be locked,
// and the thread sanitizer refuses new threads.
#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)

namespace orx::testing {

using namespace platform;

namespace {

constexpr int fine = 7;

void startNowhere() { startTransfer({.url = *URL::URLWithString("https://127.0.0.1:1/")}, {}, {}); }

// Ways into the library whose first use makes what the process shares: objects, worker threads, the
// transfer engine. None stores anything.
constexpr std::array<void (*)(), 21> uses{
    [] { (void)URLSessionConfiguration::defaultConfiguration(); },
    [] { (void)Bundle::mainBundle()->bundleIdentifier(); },
    [] { setLogHandler({}); },        // Log
    [] { setCallbackExecutor({}); },  // Callback
    [] { (void)UserDefaults::standardUserDefaults(); },
    [] { (void)keychainStatus(); },  // KeychainStoreInForce, StoreStatus
    [] { NotificationCenter::defaultCenter()->postNotificationName_object_userInfo("n", {}, {}); },
    [] { std::make_shared<OperationQueue>()->addOperationWithBlock([] {}); },
    [] { startNowhere(); },
    [] { (void)config::serviceURL(config::ServerSet::Global, config::kCustomerInfoPath); },
    [] { (void)ORVAAccount::sharedInstance()->appID(); },
    [] { (void)ORVAAccountUser::currentUser(); },
    [] { (void)ORVAAccountUserCache::sharedInstance(); },
    [] { (void)ORVAAccountLoginManager::sharedInstance()->delegate(); },
    [] { (void)unarchiveObjectWithData(Data()); },                      // ArchivedClass
    [] { (void)SecItemDelete({}); },                                    // SecItemFunctions
    [] { (void)ORVAAccountAPI::initWithOptions({})->parsingTasks(); },  // XMLTasks
    [] { (void)XMLParser::initWithData(Data()); },
    [] { (void)service::outOfMemoryError(); },  // Answer
    [] { (void)service::envelopes(); },         // SOAPCall
    [] {
      // ProfileImage, of text that makes no URL
      ORVAAccountUser::initWithUserInfo(Dictionary{{"pic", " "}})
          ->loadProfileImageDataWithCompletionBlock({});
    }};

// All of them, from any one on.
void useEverything(std::size_t start) {
  for (std::size_t i = 0; i < uses.size(); ++i) uses.at((start + i) % uses.size())();
}

std::function<int()> endedByItsAlarm(const std::function<int()>& work) {
  return [work] {
    alarm(static_cast<unsigned>(patience.count() * 2 / 3));
    return work();
  };
}

// To be called in a process that has not used the library yet.
int forkAmidFirstUses(std::size_t start, int delay) {
  std::atomic<bool> isReady = false;
  std::atomic<bool> mayGo = false;
  Event over;
  std::thread other([&] {
    isReady = true;
    while (!mayGo) {
    }
    useEverything(start);
    (void)over.wait();
  });
  while (!isReady) std::this_thread::yield();
  mayGo = true;
  for (std::atomic<int> passed = 0; passed < delay;) ++passed;
  ChildProcess child(endedByItsAlarm([start] {
    useEverything(start);
    return fine;
  }));
  const int status = child.wait();
  over.set();
  other.join();
  return status;
}

TEST(FirstUse, MayMeetAForkAtAnyMoment) {
  constexpr int rounds = 140;
  for (int round = 0; round < rounds; ++round) {
    const std::size_t start = static_cast<std::size_t>(round) % uses.size();
    ChildProcess process(endedByItsAlarm([&] { return forkAmidFirstUses(start, round * 16); }));
    ASSERT_EQ(process.wait(), fine) << "round " << round;
  }
}

}  // namespace
}  // namespace orx::testing

#endif
