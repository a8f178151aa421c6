// SPDX-License-Identifier: MIT
#include <curl/curl.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstring>
#include <fstream>
#include <memory>
#include <stdexcept>

#include "devserver/ServiceClient.h"
#include "support/TemporaryDirectory.h"

namespace orx::testing {
namespace {

class Control : public ::testing::Test {
 protected:
  Control() { service_.start({.control = socket_}); }

  long ask(const std::string& method, const std::string& path, const std::string& body = {}) {
    return overSocket(socket_, method, "http://control" + path, body).status;
  }
  long startPage() const { return ServiceClient(service_).get(globalURL("/")).status; }

  const TemporaryDirectory directory_;
  const std::filesystem::path socket_ = directory_ / "control";
  DevelopmentService service_;
};

TEST_F(Control, SetsAndClearsFaultsWhileTheServiceRuns) {
  EXPECT_EQ(ask("PUT", "/faults", R"([{"do":{"status":418}}])"), 204);
  EXPECT_EQ(startPage(), 418);
  EXPECT_EQ(ask("PUT", "/faults", R"([{"do":{"status":503}}])"), 204);
  EXPECT_EQ(startPage(), 503);
  EXPECT_EQ(ask("DELETE", "/faults"), 204);
  EXPECT_EQ(startPage(), 200);
}

TEST_F(Control, SaysWhatIsWrongAndLeavesTheFaultsThatWere) {
  ask("PUT", "/faults", R"([{"do":{"status":418}}])");
  const auto reply = overSocket(socket_, "PUT", "http://control/faults", R"([{"do":"dance"}])");
  EXPECT_EQ(reply.status, 400);
  EXPECT_EQ(reply.body, "rule 1: \"do\" knows no \"dance\"\n");
  EXPECT_EQ(startPage(), 418);
}

TEST_F(Control, AddsAccountsListsRequestsAndResets) {
  EXPECT_EQ(ask("POST", "/accounts", R"([{"login":"a@orva.example","passwd":"correct horse"}])"),
            204);
  const auto signIn = [this] {
    return ServiceClient(service_)
        .call("w000000011", R"({"login":"a@orva.example","passwd":"correct horse"})")
        .element("ResultCode");
  };
  EXPECT_EQ(signIn(), "1");
  const auto seen = overSocket(socket_, "GET", "http://control/requests", "");
  EXPECT_NE(seen.body.find("\"operation\":\"w000000011\""), std::string::npos);
  EXPECT_EQ(ask("POST", "/reset"), 204);
  EXPECT_EQ(signIn(), "0");
  EXPECT_EQ(ask("POST", "/elsewhere"), 404);
}

TEST_F(Control, TakesAsMuchAsAFileHolds) {
  const std::string spaces(100'000, ' ');
  EXPECT_EQ(
      ask("POST", "/accounts", R"([{"login":"a@orva.example","passwd":"correct horse"}])" + spaces),
      204);
  EXPECT_EQ(ask("PUT", "/faults", R"([{"do":{"status":418}}])" + spaces), 204);
  EXPECT_EQ(startPage(), 418);
  const auto reply =
      overSocket(socket_, "PUT", "http://control/faults", "[]" + std::string(5U << 20, ' '));
  EXPECT_NE(reply.status, 204);
  EXPECT_EQ(startPage(), 418);
}

TEST_F(Control, IsForThisUserAloneAndGoesWithTheService) {
  EXPECT_EQ(std::filesystem::status(socket_).permissions(), std::filesystem::perms(0600));
  service_.stop();
  EXPECT_FALSE(std::filesystem::exists(socket_));
}

TEST_F(Control, IsNotReachedOverTheNetwork) {
  const auto reply = ServiceClient(service_).send("DELETE", globalURL("/faults"), "", "");
  EXPECT_EQ(reply.status, 404);
  EXPECT_EQ(ServiceClient(service_).get(globalURL("/requests")).status, 404);
}

TEST_F(Control, TakesNoSocketOfALiveServiceAndNoFileOfOthers) {
  DevelopmentService second;
  EXPECT_THROW(second.start({.control = socket_}), std::runtime_error);
  EXPECT_EQ(ask("DELETE", "/faults"), 204);
  std::ofstream(directory_ / "file") << "kept";
  DevelopmentService third;
  EXPECT_THROW(third.start({.control = directory_ / "file"}), std::runtime_error);
  EXPECT_TRUE(std::filesystem::is_regular_file(directory_ / "file"));
}

TEST_F(Control, TakesThePlaceOfASocketThatADeadServiceLeft) {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  const std::string place = directory_ / "left";
  std::strncpy(address.sun_path, place.c_str(), sizeof address.sun_path - 1);
  const int dead = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
  ASSERT_EQ(bind(dead, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
  close(dead);
  DevelopmentService second;
  second.start({.control = place});
  EXPECT_EQ(overSocket(place, "DELETE", "http://control/faults", "").status, 204);
}

}  // namespace
}  // namespace orx::testing
