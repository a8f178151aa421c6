// SPDX-License-Identifier: MIT
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <climits>
#include <fstream>
#include <nlohmann/json.hpp>
#include <vector>

#include "devserver/FileContent.h"
#include "devserver/RequestLog.h"
#include "devserver/ServiceClient.h"
#include "support/TemporaryDirectory.h"

namespace orx::testing {
namespace {

using devserver::contentOf;

std::vector<nlohmann::json> linesOf(const std::filesystem::path& file) {
  std::ifstream log(file);
  std::vector<nlohmann::json> lines;
  for (std::string line; std::getline(log, line);) lines.push_back(nlohmann::json::parse(line));
  return lines;
}

class Log : public ::testing::Test {
 protected:
  Log() { service_.start({.log = file_}); }

  const TemporaryDirectory directory_;
  const std::filesystem::path file_ = directory_ / "log";
  DevelopmentService service_;
};

TEST_F(Log, HasALineForEachRequestBeforeItsAnswerIsSent) {
  const ServiceClient client(service_);
  client.call("w000000011", R"({"login":"a","passwd":"b"})");
  client.get(chinaURL("/nowhere?q=1"));
  const auto lines = linesOf(file_);
  ASSERT_EQ(lines.size(), 2U);
  EXPECT_EQ(lines[0].at("host"), ORX_TEST_GLOBAL_HOST);
  EXPECT_EQ(lines[0].at("method"), "POST");
  EXPECT_EQ(lines[0].at("operation"), "w000000011");
  EXPECT_EQ(lines[0].at("status"), 200);
  EXPECT_EQ(lines[0].at("resultCode"), "0");
  EXPECT_EQ(lines[0].at("fault"), false);
  EXPECT_EQ(lines[1].at("host"), ORX_TEST_CHINA_HOST);
  EXPECT_EQ(lines[1].at("operation"), "/nowhere");
  EXPECT_EQ(lines[1].at("status"), 404);
  EXPECT_EQ(lines[1].at("resultCode"), "");
}

TEST_F(Log, HoldsNoSecret) {
  const ServiceClient client(service_);
  const std::string ticket = ticketOfNewAccount(client);
  client.call("sso0000004", R"({"Ticket":")" + ticket + "\"}");
  const std::string link =
      client.call("sso0000006", R"({"ticket":")" + ticket + "\"}").element("ReturnData");
  ASSERT_EQ(client.get(link).status, 200);
  client.get(globalURL("/?ticket=" + ticket));
  client.post(globalURL("/api/OpenIdApi/Login"),
              R"({"AppID":"demo-app","AppKey":"demo-key","openid_type":"t","openid_uid":"me"})",
              "application/json");
  const std::string log = contentOf(file_);
  for (const std::string& secret :
       {ticket, link.substr(link.rfind('/') + 1), std::string("correct horse"),
        std::string("demo-key"), std::string("ada@orva.example")}) {
    EXPECT_EQ(log.find(secret), std::string::npos) << secret;
  }
  EXPECT_EQ(linesOf(file_).size(), 7U);
}

TEST_F(Log, SaysWhatAFaultDid) {
  service_.setFaults(R"([{"match":{"nth":1},"do":{"status":503}},{"do":"close"}])");
  const ServiceClient client(service_);
  client.get(globalURL("/"));
  client.get(globalURL("/"));
  const auto lines = linesOf(file_);
  ASSERT_EQ(lines.size(), 2U);
  EXPECT_EQ(lines[0].at("status"), 503);
  EXPECT_EQ(lines[1].at("status"), 0);
  EXPECT_EQ(lines[1].at("fault"), true);
}

TEST_F(Log, StaysALinePerRequestWhateverClientsWrite) {
  ServiceClient(service_).get(globalURL("/%0A%22" + std::string(1000, 'x')));
  const auto lines = linesOf(file_);
  ASSERT_EQ(lines.size(), 1U);
  EXPECT_EQ(lines[0].at("operation"), "/\n\"" + std::string(197, 'x'));
}

// A pipe that is ready takes no more than this in one piece.
TEST_F(Log, HasLinesThatAPipeTakesWholeWhateverClientsWrite) {
  const std::string longest(7000, '<');
  ServiceClient(service_).exchange("GET /" + std::string(1000, '<') + " HTTP/1.1\r\nHost: " +
                                   longest + "\r\nConnection: close\r\n\r\n");
  ASSERT_EQ(linesOf(file_).size(), 1U);
  EXPECT_LT(contentOf(file_).size(), static_cast<std::size_t>(PIPE_BUF));
}

TEST_F(Log, IsAlsoAListForTheHost) {
  ServiceClient(service_).call("secure0003", R"({"Para":"country"})");
  const auto requests = service_.requests();
  ASSERT_EQ(requests.size(), 1U);
  EXPECT_EQ(requests[0].operation, "secure0003");
  EXPECT_EQ(requests[0].resultCode, "0");
  EXPECT_EQ(requests[0].host, service_.hosts()[0]);
}

TEST_F(Log, GoesOnBehindWhatItsFileHolds) {
  ServiceClient(service_).get(globalURL("/"));
  DevelopmentService second;
  second.start({.log = file_});
  ServiceClient(second).get(globalURL("/"));
  EXPECT_EQ(linesOf(file_).size(), 2U);
  EXPECT_EQ(std::filesystem::status(file_).permissions(), std::filesystem::perms(0600));
}

TEST(RequestLog, KeepsTheLatestThousand) {
  devserver::RequestLog log("");
  for (int i = 0; i < 1001; ++i) log.addAnswered({.operation = std::to_string(i)});
  EXPECT_EQ(log.requests().size(), 1000U);
  EXPECT_EQ(log.requests().front().operation, "1");
}

TEST(RequestLog, WaitsNotForAReaderThatReadsNothing) {
  int ends[2];
  ASSERT_EQ(pipe2(ends, O_CLOEXEC), 0);
  const std::string full(static_cast<std::size_t>(fcntl(ends[1], F_SETPIPE_SZ, 4096)), ' ');
  ASSERT_EQ(write(ends[1], full.data(), full.size()), static_cast<ssize_t>(full.size()));
  const int standardOutput = dup(STDOUT_FILENO);
  dup2(ends[1], STDOUT_FILENO);
  devserver::RequestLog log("-");
  dup2(standardOutput, STDOUT_FILENO);
  log.addAnswered({.operation = "lost"});
  EXPECT_EQ(log.requests().size(), 1U);
  for (const int end : {ends[0], ends[1], standardOutput}) close(end);
}

TEST(RequestLog, RefusesAFIFOThatNobodyReads) {
  const TemporaryDirectory directory;
  const std::string fifo = directory / "fifo";
  ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
  EXPECT_THROW(devserver::RequestLog{fifo}, std::runtime_error);
}

TEST(RequestLog, RefusesAPlaceThatCannotBeWritten) {
  EXPECT_THROW(devserver::RequestLog("/nowhere/log"), std::runtime_error);
}

}  // namespace
}  // namespace orx::testing
