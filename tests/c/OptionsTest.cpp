// SPDX-License-Identifier: MIT
#include <ORXAccount/ORVAAccountAPI.h>
#include <ORXAccount/platform/Bundle.h>
#include <ORXAccount/platform/Keychain.h>
#include <gtest/gtest.h>

#include <array>
#include <cerrno>

#include "c/CHost.h"

namespace orx {
namespace {

using namespace orx::testing;

std::int64_t set(const char* name, const char* value) {
  return refusal(orx_set_option(name, value));
}

URLSessionConfiguration configuration() { return URLSessionConfiguration::defaultConfiguration(); }

TEST(COptions, NameTheApplication) {
  EXPECT_EQ(set("identifier", "com.example.妮"), 0);
  EXPECT_EQ(Bundle::mainBundle()->bundleIdentifier(), "com.example.妮");
  EXPECT_EQ(set("identifier", nullptr), 0);
  EXPECT_EQ(Bundle::mainBundle()->bundleIdentifier(), std::nullopt);
}

TEST(COptions, SayHowConnectionsAreMade) {
  EXPECT_EQ(set("caFile", "/tmp/ca.pem"), 0);
  EXPECT_EQ(set("proxy", "http://proxy.example:3128"), 0);
  EXPECT_EQ(set("proxyExceptions", "a.example,b.example"), 0);
  EXPECT_EQ(set("timeout", "1500"), 0);
  EXPECT_EQ(set("deadline", "90000"), 0);
  EXPECT_EQ(set("maximumBodySize", "4294967296"), 0);
  EXPECT_EQ(set("maximumHeaderSize", "1024"), 0);
  EXPECT_EQ(configuration().caFile(), "/tmp/ca.pem");
  EXPECT_EQ(configuration().proxy(), "http://proxy.example:3128");
  EXPECT_EQ(configuration().proxyExceptions(), "a.example,b.example");
  EXPECT_EQ(configuration().timeoutIntervalForRequest(), std::chrono::milliseconds(1500));
  EXPECT_EQ(configuration().timeoutIntervalForResource(), std::chrono::seconds(90));
  EXPECT_EQ(configuration().maximumBodySize(), std::size_t{4294967296});
  EXPECT_EQ(configuration().maximumHeaderSize(), 1024U);
}

TEST(COptions, TakeTimesOfMonths) {
  EXPECT_EQ(set("timeout", "2592000000"), 0);
  EXPECT_EQ(set("deadline", "31536000000"), 0);
  EXPECT_EQ(configuration().timeoutIntervalForRequest(), std::chrono::hours(30 * 24));
  EXPECT_EQ(configuration().timeoutIntervalForResource(), std::chrono::hours(365 * 24));
}

TEST(COptions, SayWhereAHostIsReached) {
  EXPECT_EQ(set("connectTo", "A.example=127.0.0.1:8443,b.example=[::1]:9,c.example=d:1"), 0);
  const std::map<std::string, URLSessionConfiguration::Address> wanted{
      {"a.example", {"127.0.0.1", 8443}}, {"b.example", {"::1", 9}}, {"c.example", {"d", 1}}};
  EXPECT_EQ(configuration().connectTo(), wanted);
  EXPECT_EQ(set("connectTo", "c.example=e:2"), 0);
  EXPECT_EQ(set("connectTo", ""), 0);
  EXPECT_EQ(set("connectTo", nullptr), EINVAL);
  EXPECT_EQ(configuration().connectTo().size(), 3U);
  EXPECT_EQ(configuration().connectTo().at("c.example").host, "e");
}

TEST(COptions, SayWhereTheUserIsStored) {
  EXPECT_EQ(set("keychain", "file"), 0);
  EXPECT_EQ(keychainPolicy(), KeychainPolicy::FileOnly);
  EXPECT_EQ(set("keychain", "secret-service"), 0);
  EXPECT_EQ(keychainPolicy(), KeychainPolicy::SecretServiceOnly);
  EXPECT_EQ(set("keychain", "prefer-secret-service"), 0);
  EXPECT_EQ(keychainPolicy(), KeychainPolicy::PreferSecretService);
  EXPECT_EQ(set("keychainPrompts", "yes"), 0);
  EXPECT_TRUE(keychainPromptsAllowed());
  EXPECT_EQ(set("keychainPrompts", "no"), 0);
  EXPECT_FALSE(keychainPromptsAllowed());
}

TEST(COptions, SayWhichServersAreCalled) {
  EXPECT_EQ(set("china", "yes"), 0);
  EXPECT_TRUE(ORVAAccountAPI::targetServerIsCN());
  EXPECT_EQ(set("china", "no"), 0);
  EXPECT_FALSE(ORVAAccountAPI::targetServerIsCN());
}

TEST(COptions, GoBackToTheirDefaults) {
  for (const auto& [name, value] : {std::pair{"caFile", "a"},
                                    {"proxy", "b"},
                                    {"proxyExceptions", "c"},
                                    {"timeout", "1"},
                                    {"deadline", "1"},
                                    {"maximumBodySize", "1"},
                                    {"maximumHeaderSize", "1"},
                                    {"keychain", "file"},
                                    {"keychainPrompts", "yes"},
                                    {"china", "yes"}}) {
    EXPECT_EQ(set(name, value), 0);
    EXPECT_EQ(set(name, nullptr), 0);
  }
  EXPECT_EQ(configuration(), URLSessionConfiguration());
  EXPECT_EQ(keychainPolicy(), KeychainPolicy::PreferSecretService);
  EXPECT_FALSE(keychainPromptsAllowed());
  EXPECT_FALSE(ORVAAccountAPI::targetServerIsCN());
}

TEST(COptions, ThatCannotBeTakenChangeNothing) {
  const auto before = configuration();
  EXPECT_EQ(set(nullptr, "a"), EINVAL);
  EXPECT_EQ(set("", "a"), EINVAL);
  EXPECT_EQ(set("CAFile", "a"), EINVAL);
  EXPECT_EQ(set("\xFF", "a"), EILSEQ);
  EXPECT_EQ(set("caFile", "\xFF"), EILSEQ);
  for (const char* number : {"", "0", "-1", "1s", " 1", "1.5", "99999999999999999999999"}) {
    EXPECT_EQ(set("timeout", number), EINVAL) << number;
    EXPECT_EQ(set("maximumBodySize", number), EINVAL) << number;
  }
  for (const char* place :
       {"a", "a=b", "=b:1", "a=:1", "a=b:", "a=b:0", "a=b:65536", "a:1=b", ",", "a=b:1,c"}) {
    EXPECT_EQ(set("connectTo", place), EINVAL) << place;
  }
  for (const char* name : {"keychain", "keychainPrompts", "china"}) {
    EXPECT_EQ(set(name, ""), EINVAL);
    EXPECT_EQ(set(name, "File"), EINVAL);
  }
  EXPECT_EQ(configuration(), before);
}

TEST(CServers, AreSetOnceForTheWholeProcess) {
  const StorageHome home;
  EXPECT_EQ(refusal(orx_set_servers(nullptr, nullptr, nullptr, nullptr)), EINVAL);
  EXPECT_EQ(refusal(orx_set_servers("a.example", "\xFF", nullptr, nullptr)), EILSEQ);
  EXPECT_EQ(refusal(orx_set_servers("a b", nullptr, nullptr, nullptr)), EINVAL);
  EXPECT_EQ(refusal(orx_set_servers("a.example:8443", nullptr, "dev.example", "urn:x")), 0);
  EXPECT_EQ(refusal(orx_initialize("app", "key", 1)), 0);
  EXPECT_EQ(statusText("customerInfoURL"), "https://dev.example/ws/lumcusinfo.asmx");
  EXPECT_EQ(refusal(orx_initialize("app", "key", 0)), 0);
  EXPECT_EQ(statusText("customerInfoURL"), "https://a.example:8443/ws/lumcusinfo.asmx");
  EXPECT_EQ(refusal(orx_set_servers("b.example", nullptr, nullptr, nullptr)), EINVAL);
}

TEST(CStatus, TellsTheServersAndTheKeychain) {
  const StorageHome home;
  EXPECT_EQ(statusText("customerInfoURL"), std::nullopt);
  EXPECT_EQ(refusal(orx_initialize("app", "key", 1)), 0);
  EXPECT_EQ(statusText("customerInfoURL"),
            std::string("https://") + kDevelopmentHost + "/ws/lumcusinfo.asmx");
  EXPECT_EQ(refusal(orx_initialize("app", "key", 0)), 0);
  EXPECT_EQ(statusText("accountServiceURL"),
            std::string("https://") + kGlobalHost + "/ws/OrvaService.asmx");
  EXPECT_EQ(statusText("china"), "false");
  EXPECT_EQ(set("china", "yes"), 0);
  EXPECT_EQ(statusText("china"), "true");
  EXPECT_EQ(statusText("keychainStore"), "file");
  EXPECT_EQ(statusText("keychainEncrypted"), "false");
  EXPECT_EQ(statusText("keychainLocked"), "false");
  EXPECT_EQ(statusText("keychainError"), "0");
  EXPECT_EQ(statusText("keychainDescription"), "");
  EXPECT_EQ(statusText("keychainPath"), "");
  EXPECT_EQ(statusText("keychainRemedy"), "");
  EXPECT_EQ(statusText("version"), orx_version());
}

TEST(CObject, HoldsWhateverCharactersAPersonTypes) {
  const std::array<const char*, 5> texts{"passwd", "a\"b\\c\n妮", "login", "", nullptr};
  orx_result* object = nullptr;
  ASSERT_EQ(refusal(orx_json_object(texts.data(), &object)), 0);
  const Result held(object);
  EXPECT_STREQ(orx_result_json(object), R"({"passwd":"a\"b\\c\n妮","login":""})");
  EXPECT_STREQ(orx_result_text(object, "passwd"), "a\"b\\c\n妮");
  EXPECT_EQ(orx_result_text(object, "other"), nullptr);
  EXPECT_EQ(orx_result_text(object, nullptr), nullptr);
}

TEST(CObject, IsEmptyWithoutTexts) {
  const std::array<const char*, 1> texts{nullptr};
  orx_result* object = nullptr;
  ASSERT_EQ(refusal(orx_json_object(texts.data(), &object)), 0);
  EXPECT_STREQ(orx_result_json(Result(object).get()), "{}");
}

}  // namespace
}  // namespace orx
