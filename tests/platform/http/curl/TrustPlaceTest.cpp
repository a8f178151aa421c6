// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "platform/http/curl/TrustPlace.h"
#include "support/TemporaryDirectory.h"

namespace orx::testing {

using namespace platform;
namespace {

class SystemTrust : public ::testing::Test {
 protected:
  SystemTrust() {
    std::filesystem::create_directory(certificates_);
    // As distributions keep them: beside the links, under the authorities' names.
    put("Some_Authority.pem");
    put("ca-certificates.crt");
    std::ofstream(bundle_) << "bundle\n";
  }
  void put(const std::string& name) const { std::ofstream(certificates_ / name) << "x\n"; }
  std::optional<TrustPlace> chosen() const {
    return systemTrust(bundle_.c_str(), certificates_.c_str());
  }

  TemporaryDirectory directory_;
  const std::filesystem::path certificates_ = directory_ / "certs";
  const std::filesystem::path bundle_ = directory_ / "bundle.pem";
};

TEST_F(SystemTrust, IsTheDirectoryThatHasHashes) {
  put("5ed36f99.0");
  EXPECT_EQ(chosen(), (TrustPlace{certificates_, true}));
  EXPECT_EQ(systemTrust(nullptr, certificates_.c_str()), (TrustPlace{certificates_, true}));
}

TEST_F(SystemTrust, IsTheBundleWhereNoDirectoryHasHashes) {
  for (const auto* name : {"5ed36f9.0", "5ed36f99", "5ed36f99.", "5ed36f99.pem", "5ed36g99.0"}) {
    put(name);
    EXPECT_EQ(chosen(), (TrustPlace{bundle_, false})) << name;
  }
  EXPECT_EQ(systemTrust(bundle_.c_str(), nullptr), (TrustPlace{bundle_, false}));
  EXPECT_EQ(systemTrust(bundle_.c_str(), "/nowhere"), (TrustPlace{bundle_, false}));
}

TEST_F(SystemTrust, IsAbsentWhereThereIsNeither) {
  EXPECT_EQ(systemTrust("/nowhere", "/nowhere"), std::nullopt);
  EXPECT_EQ(systemTrust(nullptr, nullptr), std::nullopt);
}

TEST_F(SystemTrust, SpellsAnotherNameOfTheSameFileForEachState) {
  const FileState first(bundle_);
  EXPECT_EQ(first, FileState(bundle_));
  const auto name = first.respelled(bundle_);
  EXPECT_NE(name, bundle_);
  EXPECT_TRUE(std::filesystem::equivalent(name, bundle_));
  std::ofstream(bundle_) << "another bundle\n";
  const FileState second(bundle_);
  EXPECT_FALSE(first == second);
  EXPECT_NE(second.respelled(bundle_), name);
  EXPECT_EQ(FileState("/nowhere"), FileState());
}

}  // namespace
}  // namespace orx::testing
