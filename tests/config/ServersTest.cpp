// SPDX-License-Identifier: MIT
#include <ORXAccount/ORVAAccount.h>
#include <ORXAccount/ORVAAccountUser.h>

#include <fstream>
#include <stdexcept>
#include <string>

#include "config/Servers.h"
#include "support/ChildProcess.h"
#include "support/SignInFixture.h"

namespace orx {
namespace {

using namespace orx::testing;
using namespace config;

void setServers(std::string_view globalHost, std::optional<std::string_view> chinaHost = {},
                std::optional<std::string_view> developmentHost = {},
                std::optional<std::string_view> serviceNamespace = {}) {
  ORVAAccount::setServersWithGlobalHost_chinaHost_developmentHost_serviceNamespace(
      globalHost, chinaHost, developmentHost, serviceNamespace);
}

void expectBuiltInServers() {
  EXPECT_EQ(originOf(ServerSet::Global), std::string("https://") + kGlobalHost);
  EXPECT_EQ(originOf(ServerSet::China), std::string("https://") + kChinaHost);
  EXPECT_EQ(originOf(ServerSet::Development), std::string("https://") + kDevelopmentHost);
  EXPECT_EQ(serviceNamespace(), ORX_TEST_NAMESPACE);
}

TEST(Servers, AreThoseThatWereBuiltInUnlessTheHostSetsOthers) {
  expectBuiltInServers();
  EXPECT_EQ(serviceURL(ServerSet::China, "/x").absoluteString(),
            std::string("https://") + kChinaHost + "/x");
}

TEST(Servers, ThatTheHostSetsStandForAll) {
  setServers("one.example", "two.example:8443", "127.0.0.1:1", "urn:x-example:service");
  EXPECT_EQ(originOf(ServerSet::Global), "https://one.example");
  EXPECT_EQ(originOf(ServerSet::China), "https://two.example:8443");
  EXPECT_EQ(originOf(ServerSet::Development), "https://127.0.0.1:1");
  EXPECT_EQ(serviceNamespace(), "urn:x-example:service");
  EXPECT_EQ(serviceURL(ServerSet::China, kCustomerInfoPath).absoluteString(),
            "https://two.example:8443/ws/lumcusinfo.asmx");
  EXPECT_EQ(serviceURL(ServerSet::Development, kAccountServicePath).absoluteString(),
            "https://127.0.0.1:1/ws/OrvaService.asmx");
}

// A China or development server that nobody has named must not be a stranger's.
TEST(Servers, OfOneHostAreThatHostWithTheNamespaceThatWasBuiltIn) {
  setServers("one.example");
  for (const ServerSet set : {ServerSet::Global, ServerSet::China, ServerSet::Development}) {
    EXPECT_EQ(originOf(set), "https://one.example");
  }
  EXPECT_EQ(serviceNamespace(), ORX_TEST_NAMESPACE);
}

TEST(Servers, AreSettledOnceTheyAreSet) {
  setServers("one.example", "two.example", "three.example", "urn:a");
  EXPECT_NO_THROW(setServers("one.example", "two.example", "three.example", "urn:a"));
  EXPECT_THROW(setServers("one.example", "two.example", "three.example", "urn:b"),
               std::invalid_argument);
  EXPECT_THROW(setServers("other.example", "two.example", "three.example", "urn:a"),
               std::invalid_argument);
  EXPECT_THROW(setServers("one.example", "other.example", "three.example", "urn:a"),
               std::invalid_argument);
  EXPECT_THROW(setServers("one.example", "two.example", "other.example", "urn:a"),
               std::invalid_argument);
  EXPECT_EQ(originOf(ServerSet::Global), "https://one.example");
  EXPECT_EQ(originOf(ServerSet::China), "https://two.example");
  EXPECT_EQ(originOf(ServerSet::Development), "https://three.example");
  EXPECT_EQ(serviceNamespace(), "urn:a");
}

class SettledServers : public SignInFixture {};

TEST_F(SettledServers, ByTheInitialisation) {
  ORVAAccount::sharedInstance()->initializeWithLaunchOptions_appKey_appID_isStage({}, "k", "i",
                                                                                  true);
  EXPECT_THROW(setServers("one.example"), std::invalid_argument);
  expectBuiltInServers();
  EXPECT_NO_THROW(setServers(kGlobalHost, kChinaHost, kDevelopmentHost, ORX_TEST_NAMESPACE));
}

TEST_F(SettledServers, ByACall) {
  answerWithRecord("{}");
  outcomeOf([&](auto handler) { api()->login_completionHandler({}, handler); });
  EXPECT_THROW(setServers("one.example"), std::invalid_argument);
  expectBuiltInServers();
}

TEST_F(SettledServers, ByTheAddressOfAPicture) {
  (void)ORVAAccountUser::initWithUserInfo(Dictionary{{"pic", "a"}})->pictureURL();
  EXPECT_THROW(setServers("one.example"), std::invalid_argument);
  expectBuiltInServers();
}

void setOne(const std::string& kind, std::size_t place, const std::string& text) {
  const std::string good = "good.example";
  if (kind == "namespace") return setServers(good, good, good, text);
  setServers(place == 0 ? text : good, place == 1 ? text : good, place == 2 ? text : good);
}

// Each line of the file says "host" or "namespace", "good" or "bad", and the text.
TEST(ServerTexts, AreTakenOrRefusedLikeTheBuildOptions) {
  std::ifstream file(ORX_TESTS_DIR "/config/ServerTexts.txt");
  std::size_t count = 0;
  for (std::string kind, verdict, text;
       file >> kind >> verdict && file.get() == ' ' && std::getline(file, text); ++count) {
    for (std::size_t place = 0; place < (kind == "host" ? 3 : 1); ++place) {
      SCOPED_TRACE(::testing::Message() << kind << " '" << text << "' in place " << place);
      const bool isGood = verdict == "good";
      ChildProcess child([&] {
        try {
          setOne(kind, place, text);
          return isGood ? 0 : 1;
        } catch (const std::invalid_argument&) {
          setServers("later.example");
          return isGood ? 2 : 0;
        }
      });
      EXPECT_EQ(child.wait(), 0);
    }
  }
  EXPECT_TRUE(file.eof());
  EXPECT_GT(count, 30U);
}

}  // namespace
}  // namespace orx
