// SPDX-License-Identifier: MIT
// In a process whose host has used libcurl before, with the key log that libcurl makes then.
#include <curl/curl.h>
#include <gtest/gtest.h>

#include <filesystem>

#include "support/Call.h"
#include "support/TLSTestServer.h"

namespace orx::testing {

using namespace platform;
namespace {

TEST(KeyLog, OfTheHostGetsNoneOfTheLibrarysKeys) {
  const TemporaryDirectory directory;
  const auto file = directory / "keys";
  setenv("SSLKEYLOGFILE", file.c_str(), 1);
  ASSERT_EQ(curl_global_init(CURL_GLOBAL_DEFAULT), CURLE_OK);
  unsetenv("SSLKEYLOGFILE");
  ASSERT_TRUE(std::filesystem::exists(file));
  const TLSTestServer server({"one.example"}, TLSTestServer::Answer::reply(200));
  EXPECT_EQ(call(server.configuration(), getRequest("https://one.example/")).statusCode, 200);
  EXPECT_EQ(std::filesystem::file_size(file), 0U);
}

}  // namespace
}  // namespace orx::testing
