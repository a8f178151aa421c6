// SPDX-License-Identifier: MIT
#include <ORXAccount/platform/URLSessionConfiguration.h>
#include <gtest/gtest.h>

#include <array>

namespace orx::testing {
namespace {

using std::chrono::milliseconds;

// Each setter with a value that is no default.
constexpr std::array<void (*)(URLSessionConfiguration&), 8> changes{
    [](auto& configuration) { configuration.setCaFile("/ca.pem"); },
    [](auto& configuration) { configuration.setProxy(""); },
    [](auto& configuration) { configuration.setProxyExceptions("*"); },
    [](auto& configuration) {
      configuration.setConnectTo("one.example", {"127.0.0.1", 1});
    },
    [](auto& configuration) { configuration.setTimeoutIntervalForRequest(milliseconds(1)); },
    [](auto& configuration) { configuration.setTimeoutIntervalForResource(milliseconds(1)); },
    [](auto& configuration) { configuration.setMaximumBodySize(1); },
    [](auto& configuration) { configuration.setMaximumHeaderSize(1); }};

TEST(URLSessionConfiguration, BeginsWithTheDefaultsThatItsHeaderNames) {
  const URLSessionConfiguration configuration;
  EXPECT_EQ(configuration.caFile(), std::nullopt);
  EXPECT_EQ(configuration.proxy(), std::nullopt);
  EXPECT_EQ(configuration.proxyExceptions(), "");
  EXPECT_TRUE(configuration.connectTo().empty());
  EXPECT_EQ(configuration.timeoutIntervalForRequest(), std::chrono::seconds(60));
  EXPECT_EQ(configuration.timeoutIntervalForResource(), std::chrono::hours(7 * 24));
  EXPECT_EQ(configuration.maximumBodySize(), 64U * 1024 * 1024);
  EXPECT_EQ(configuration.maximumHeaderSize(), 256U * 1024);
}

TEST(URLSessionConfiguration, HoldsWhatItIsGiven) {
  URLSessionConfiguration configuration;
  for (const auto change : changes) change(configuration);
  configuration.setConnectTo("two.example", {"::1", 2});
  configuration.setConnectTo("one.example", {"127.0.0.1", 3});
  EXPECT_EQ(configuration.caFile(), "/ca.pem");
  EXPECT_EQ(configuration.proxy(), "");
  EXPECT_EQ(configuration.proxyExceptions(), "*");
  const std::map<std::string, URLSessionConfiguration::Address> expected{
      {"one.example", {"127.0.0.1", 3}}, {"two.example", {"::1", 2}}};
  EXPECT_EQ(configuration.connectTo(), expected);
  EXPECT_EQ(configuration.timeoutIntervalForRequest(), milliseconds(1));
  EXPECT_EQ(configuration.timeoutIntervalForResource(), milliseconds(1));
  EXPECT_EQ(configuration.maximumBodySize(), 1U);
  EXPECT_EQ(configuration.maximumHeaderSize(), 1U);
}

TEST(URLSessionConfiguration, EqualsOneWithTheSameContentAlone) {
  for (const auto change : changes) {
    URLSessionConfiguration one;
    URLSessionConfiguration two;
    EXPECT_EQ(one, two);
    change(one);
    EXPECT_NE(one, two);
    change(two);
    EXPECT_EQ(one, two);
  }
}

TEST(URLSessionConfiguration, ChangesNoCopy) {
  for (const auto change : changes) {
    URLSessionConfiguration changed;
    const URLSessionConfiguration copy = changed;
    change(changed);
    EXPECT_EQ(copy, URLSessionConfiguration());
  }
}

TEST(URLSessionConfiguration, KeepsItsContentWhenItIsMovedFrom) {
  URLSessionConfiguration from;
  from.setCaFile("/ca.pem");
  // It has no move of its own, which is what this shows. NOLINTNEXTLINE(performance-move-const-arg)
  const URLSessionConfiguration to = std::move(from);
  EXPECT_EQ(from, to);  // NOLINT(bugprone-use-after-move)
  EXPECT_EQ(from.caFile(), "/ca.pem");
}

TEST(URLSessionConfiguration, TakesTheUsualTimeoutForOneThatIsNone) {
  for (const milliseconds none : {milliseconds(0), milliseconds(-1)}) {
    URLSessionConfiguration configuration;
    configuration.setTimeoutIntervalForRequest(none);
    configuration.setTimeoutIntervalForResource(none);
    EXPECT_EQ(configuration, URLSessionConfiguration());
  }
}

TEST(URLSessionConfiguration, OfTheProcessIsTheOneThatWasSetLast) {
  URLSessionConfiguration configuration;
  configuration.setMaximumBodySize(1);
  URLSessionConfiguration::setDefaultConfiguration(configuration);
  // What the host does to its own afterwards counts for no call.
  configuration.setMaximumBodySize(2);
  EXPECT_EQ(URLSessionConfiguration::defaultConfiguration().maximumBodySize(), 1U);
  URLSessionConfiguration::setDefaultConfiguration({});
  EXPECT_EQ(URLSessionConfiguration::defaultConfiguration(), URLSessionConfiguration());
}

}  // namespace
}  // namespace orx::testing
