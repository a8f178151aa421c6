// SPDX-License-Identifier: MIT
// Loading GIO: by several threads, before a fork, and in a version that lacks something.

#include <dlfcn.h>
#include <gtest/gtest.h>

#include <atomic>
#include <thread>

#include "allocations/FailingAllocation.h"
#include "platform/keychain/secretservice/SecretServiceFailure.h"
#include "platform/keychain/secretservice/SecretServiceLibrary.h"
#include "support/ChildProcess.h"
#include "support/SlowFiles.h"

namespace orx {

using namespace platform;
namespace {

// Nothing when it can be used.
std::optional<SecretServiceFailure::Kind> failureOfLoading() {
  try {
    requireSecretServiceLibrary();
    return std::nullopt;
  } catch (const SecretServiceFailure& failure) {
    return failure.kind;
  }
}

TEST(SecretServiceLibrary, IsRefusedToAChildThatIsForkedWhileAThreadLoadsIt) {
  std::atomic<bool> isLoaded{false};
  std::thread loader([&] {
    testing::withSlowFiles(std::chrono::milliseconds(30), [] { EXPECT_FALSE(failureOfLoading()); });
    isLoaded = true;
  });
  int refused = 0;
  // A child that is forked before the thread has begun loads it itself.
  for (int ending = 0; !isLoaded && ending >= 0; refused += ending) {
    testing::ChildProcess child([] { return failureOfLoading() == failures::Forked ? 1 : 0; });
    ending = child.wait();
    EXPECT_GE(ending, 0);
  }
  loader.join();
  EXPECT_GT(refused, 0);
}

// dlopen() gives a library that is loaded already where that calls itself by the wanted name.
TEST(SecretServiceLibrary, CountsAsMissingWhereItLacksAFunction) {
  ASSERT_NE(dlopen(ORX_EMPTY_GIO, RTLD_NOW), nullptr) << dlerror();
  for (int attempt = 0; attempt < 2; ++attempt) EXPECT_EQ(failureOfLoading(), failures::NoLibrary);
}

// As long as the process has no connection. Told as a lack of threads, it would be the keyring's
// fault, and nobody would be restored.
TEST(SecretServiceLibrary, TellsALackOfMemoryFromOneOfThreads) {
  ASSERT_FALSE(failureOfLoading());
  int failures = 0;
  for (std::size_t number = 0;; ++number) {
    const auto made = testing::withFailingAllocation(number, [] { const FirstConnection first; });
    EXPECT_EQ(made.threw, made.hasFailed) << number;
    if (!made.hasFailed) break;
    ++failures;
  }
  EXPECT_GT(failures, 0);
}

TEST(SecretServiceLibrary, ReportsWhereItGivesNeitherAnAnswerNorAnError) {
  ASSERT_FALSE(failureOfLoading());
  EXPECT_EQ(failureOf(ErrorPointer()).kind, failures::Misunderstood);
}

}  // namespace
}  // namespace orx
