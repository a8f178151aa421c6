// SPDX-License-Identifier: MIT
// Whom a call without authorities of its own trusts, on a system whose store the test has made.
#include <curl/curl.h>
#include <gtest/gtest.h>
#include <sched.h>
#include <sys/mount.h>

#include <string_view>

#include "support/Call.h"
#include "support/HashedDirectory.h"
#include "support/TLSTestServer.h"

namespace orx::testing {

using namespace platform;
namespace {

// Only root can lay another directory over the system's, for the test's own process.
class TrustOfTheSystem : public ::testing::Test {
 protected:
  void SetUp() override {
    const auto* libcurl = curl_version_info(CURLVERSION_NOW);
    if (libcurl->cainfo == nullptr || libcurl->capath == nullptr ||
        !std::string_view(libcurl->cainfo).starts_with(libcurl->capath)) {
      GTEST_SKIP() << "this libcurl has no bundle in a directory";
    }
    // For the threads too, since none of the library's runs yet.
    if (unshare(CLONE_NEWNS) != 0 ||
        mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0 ||
        mount(store_.path().c_str(), libcurl->capath, nullptr, MS_BIND, nullptr) != 0) {
      GTEST_SKIP() << "nothing may be mounted here";
    }
    bundle_ = libcurl->cainfo;
  }
  static std::string anothers() {
    return devserver::CertificateAuthority::generate().certificatePEM();
  }
  bool isServerTrusted() const {
    auto configuration = server_.configuration();
    configuration.setCaFile(std::nullopt);
    const Outcome outcome = call(configuration, getRequest("https://one.example/"));
    EXPECT_EQ(outcome.errorCode(), outcome.error ? NSURLErrorServerCertificateUntrusted : 0);
    return !outcome.error;
  }

  TLSTestServer server_{{"one.example"}, TLSTestServer::Answer::reply(200)};
  const std::string servers_ = server_.authority().certificatePEM();
  TemporaryDirectory store_;
  std::string bundle_;
};

TEST_F(TrustOfTheSystem, IsInWhomTheDirectoryAloneHolds) {
  putHashed(store_.path(), servers_);
  std::ofstream(bundle_) << anothers();
  EXPECT_TRUE(isServerTrusted());
}

TEST_F(TrustOfTheSystem, IsInWhomTheBundleHoldsWhereTheDirectoryHasNoHashes) {
  std::ofstream(bundle_) << servers_;
  EXPECT_TRUE(isServerTrusted());
}

TEST_F(TrustOfTheSystem, IsInNobodyWhomNeitherHolds) {
  putHashed(store_.path(), anothers());
  std::ofstream(bundle_) << anothers();
  EXPECT_FALSE(isServerTrusted());
}

// Not only when what was read before has grown old.
TEST_F(TrustOfTheSystem, IsReadAnewAfterAFailedHandshake) {
  std::ofstream(bundle_) << anothers();
  EXPECT_FALSE(isServerTrusted());
  std::ofstream(bundle_) << servers_;
  EXPECT_TRUE(isServerTrusted());
}

TEST_F(TrustOfTheSystem, IsInNobodyWhereThereIsNoStore) { EXPECT_FALSE(isServerTrusted()); }

}  // namespace
}  // namespace orx::testing
