// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include "platform/http/URLSessionDataTask.h"
#include "support/Call.h"
#include "support/TLSTestServer.h"

namespace orx::testing {

using namespace platform;
namespace {

using Answer = TLSTestServer::Answer;

class URLSessionDataTaskTest : public ::testing::Test {
 protected:
  URLSessionDataTaskTest() {
    URLSessionConfiguration::setDefaultConfiguration(server_.configuration());
  }

  std::shared_ptr<URLSessionDataTask> task(const std::string& url) {
    return URLSessionDataTask::dataTaskWithURL_completionHandler(URL::URLWithString(url),
                                                                 into(outcomes_));
  }

  TLSTestServer server_{{"one.example"}, Answer::reply(200, "picture")};
  std::shared_ptr<Outcomes> outcomes_ = std::make_shared<Outcomes>();
};

TEST_F(URLSessionDataTaskTest, AsksForItsURLWithoutABody) {
  task("https://one.example/a?b")->resume();
  EXPECT_EQ(outcomes_->take().text(), "picture");
  const auto requests = server_.requests();
  ASSERT_EQ(requests.size(), 1U);
  EXPECT_EQ(requests[0].method + requests[0].target, "GET/a?b");
}

TEST_F(URLSessionDataTaskTest, ReportsOnceHoweverOftenItIsResumed) {
  const auto once = task("https://one.example/");
  once->resume();
  once->resume();
  EXPECT_EQ(outcomes_->take().statusCode, 200);
  once->resume();
  // A later transfer's outcome is the next that comes.
  EXPECT_EQ(call(server_.configuration(), getRequest("https://one.example/late")).statusCode, 200);
  EXPECT_EQ(outcomes_->count(), 0U);
  EXPECT_EQ(server_.requests().size(), 2U);
}

TEST_F(URLSessionDataTaskTest, SendsNothingWhenItIsNeverResumed) {
  task("https://one.example/");
  EXPECT_EQ(call(server_.configuration(), getRequest("https://one.example/b")).statusCode, 200);
  EXPECT_EQ(outcomes_->count(), 0U);
  EXPECT_EQ(server_.requests().size(), 1U);
}

TEST_F(URLSessionDataTaskTest, ReportsAnAbsentURLAsBadOffTheCallersThread) {
  auto threads = std::make_shared<Mailbox<std::thread::id>>();
  URLSessionDataTask::dataTaskWithURL_completionHandler(
      std::nullopt,
      [outcomes = outcomes_, threads](const TransferOutcome& outcome) {
        threads->put(std::this_thread::get_id());
        outcomes->put({outcome});
      })
      ->resume();
  const Outcome outcome = outcomes_->take();
  EXPECT_EQ(outcome.errorCode(), NSURLErrorBadURL);
  EXPECT_FALSE(outcome.error->localizedDescription().empty());
  EXPECT_EQ(outcome.statusCode, 0);
  EXPECT_FALSE(outcome.data.has_value());
  EXPECT_NE(threads->take(), std::this_thread::get_id());
}

TEST_F(URLSessionDataTaskTest, LetsGoOfItsHandlerOnceThatHasReported) {
  for (const auto& url : {URL::URLWithString("https://one.example/"), std::optional<URL>()}) {
    auto held = std::make_shared<Event>();
    const std::weak_ptr<Event> watched = held;
    const auto kept = URLSessionDataTask::dataTaskWithURL_completionHandler(
        url, [held = std::move(held), outcomes = outcomes_](const TransferOutcome& outcome) {
          outcomes->put({outcome});
        });
    kept->resume();
    outcomes_->take();
    EXPECT_TRUE(eventually([&] { return watched.expired(); }));
  }
}

TEST_F(URLSessionDataTaskTest, TakesTheDefaultConfigurationOfTheMomentItIsMade) {
  TLSTestServer second({"one.example"}, Answer::reply(200, "second"));
  const auto first = task("https://one.example/");
  URLSessionConfiguration::setDefaultConfiguration(second.configuration());
  EXPECT_EQ(URLSessionConfiguration::defaultConfiguration(), second.configuration());
  first->resume();
  EXPECT_EQ(outcomes_->take().text(), "picture");
  task("https://one.example/")->resume();
  EXPECT_EQ(outcomes_->take().text(), "second");
}

}  // namespace
}  // namespace orx::testing
