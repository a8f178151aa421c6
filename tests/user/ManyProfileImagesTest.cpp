// SPDX-License-Identifier: MIT
#include <ORXAccount/ORVAAccountUser.h>
#include <gtest/gtest.h>
#include <sys/eventfd.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>

#include "support/AccountServiceFixture.h"
#include "support/Await.h"
#include "support/ServerProcess.h"

namespace orx::testing {
namespace {

constexpr std::uint64_t kRecords = 1000;
constexpr std::size_t kMostThreads = 64;

std::size_t threadCount() {
  const std::filesystem::directory_iterator threads("/proc/self/task");
  return static_cast<std::size_t>(std::distance(begin(threads), end(threads)));
}

// All loads are under way at once, each with a connection of its own.
void allowManyDescriptors() {
  rlimit limit{};
  ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &limit), 0);
  limit.rlim_cur = limit.rlim_max;
  ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &limit), 0);
  ASSERT_GT(limit.rlim_cur, 2 * kRecords);
}

// A semaphore that works between processes; take() waits until the count is above zero.
class Tickets {
 public:
  Tickets() : descriptor_(eventfd(0, EFD_SEMAPHORE)) {}
  Tickets(const Tickets&) = delete;
  Tickets& operator=(const Tickets&) = delete;
  ~Tickets() { close(descriptor_); }

  void give(std::uint64_t count) { EXPECT_EQ(write(descriptor_, &count, sizeof count), 8); }
  void take() {
    std::uint64_t one = 0;
    EXPECT_EQ(read(descriptor_, &one, sizeof one), 8);
  }

 private:
  int descriptor_;
};

TEST(ManyProfileImages, OnTheirWayAtOnceHoldNoThreads) {
  allowManyDescriptors();
  Tickets arrived;
  Tickets mayAnswer;
  const ServerProcess server({kGlobalHost}, [&](const auto& /*request*/) {
    arrived.give(1);
    mayAnswer.take();
    return TLSTestServer::Answer::reply(200, "picture");
  });
  URLSessionConfiguration::setDefaultConfiguration(server.configuration());

  std::vector<std::shared_ptr<ORVAAccountUser>> users;
  users.reserve(kRecords);
  const auto threadCounts = std::make_shared<Mailbox<std::size_t>>();
  for (std::uint64_t record = 0; record < kRecords; ++record) {
    users.push_back(
        ORVAAccountUser::initWithUserInfo(Dictionary{{"pic", std::to_string(record) + ".png"}}));
    users.back()->loadProfileImageDataWithCompletionBlock(
        [threadCounts](const std::optional<Data>& data, const std::shared_ptr<Error>& error) {
          EXPECT_EQ(error, nullptr);
          EXPECT_EQ(data, Data("picture"));
          threadCounts->put(threadCount());
        });
  }
  for (std::uint64_t record = 0; record < kRecords; ++record) arrived.take();
  EXPECT_LE(threadCount(), kMostThreads);

  mayAnswer.give(kRecords);
  std::size_t most = 0;
  for (std::uint64_t record = 0; record < kRecords; ++record) {
    most = std::max(most, threadCounts->take());
  }
  EXPECT_LE(most, kMostThreads);
  RecordProperty("threads", static_cast<int>(most));
}

}  // namespace
}  // namespace orx::testing
