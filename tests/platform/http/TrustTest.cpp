// SPDX-License-Identifier: MIT
// Whom the configuration trusts, while what it names changes.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/stat.h>

#include <filesystem>
#include <fstream>
#include <string_view>
#include <thread>

#include "support/Call.h"
#include "support/HashedDirectory.h"
#include "support/TLSTestServer.h"

namespace orx::testing {
namespace {

// A place on a file system that does not answer.
constexpr std::string_view unanswered = "/unanswered/authority.pem";
Event asksForUnanswered;
Event answers;

}  // namespace
}  // namespace orx::testing

#pragma GCC visibility push(default)
extern "C" int stat(const char* path, struct stat* file) noexcept {
  using namespace orx::testing;
  if (path == unanswered) {
    asksForUnanswered.set();
    EXPECT_TRUE(answers.wait());
  }
  return fstatat(AT_FDCWD, path, file, 0);
}
#pragma GCC visibility pop

namespace orx::testing {

using namespace platform;
namespace {

using Answer = TLSTestServer::Answer;
using devserver::CertificateAuthority;
using ::testing::HasSubstr;
namespace fs = std::filesystem;

class Trust : public ::testing::Test {
 protected:
  Trust() : configuration_(server_.configuration()) {
    configuration_.setCaFile((directory_ / "trusted.pem").string());
  }

  void write(const std::string& text) const { std::ofstream(*configuration_.caFile()) << text; }
  // As an update does it: the old file goes at once.
  void replace(const std::string& text) const {
    const auto fresh = directory_ / "fresh.pem";
    std::ofstream(fresh) << text;
    fs::rename(fresh, *configuration_.caFile());
  }
  Outcome get() const { return call(configuration_, getRequest("https://one.example/")); }
  bool isTrusted() const {
    const Outcome outcome = get();
    EXPECT_EQ(outcome.errorCode(), outcome.error ? NSURLErrorServerCertificateUntrusted : 0);
    return !outcome.error;
  }

  TLSTestServer server_{{"one.example"}, Answer::reply(200)};
  const std::string servers_ = server_.authority().certificatePEM();
  const std::string anothers_ = CertificateAuthority::generate().certificatePEM();
  TemporaryDirectory directory_;
  URLSessionConfiguration configuration_;
};

TEST_F(Trust, EndsWithTheFileThatIsReplacedOverOpenConnectionsToo) {
  write(servers_);
  EXPECT_TRUE(isTrusted());
  replace(anothers_);
  EXPECT_FALSE(isTrusted());
  replace(servers_);
  EXPECT_TRUE(isTrusted());
}

TEST_F(Trust, EndsWithTheFileThatIsDeleted) {
  write(servers_);
  EXPECT_TRUE(isTrusted());
  fs::remove(*configuration_.caFile());
  EXPECT_FALSE(isTrusted());
  write(servers_);
  EXPECT_TRUE(isTrusted());
}

TEST_F(Trust, BeginsWithTheAuthorityThatIsAdded) {
  write(anothers_);
  EXPECT_FALSE(isTrusted());
  write(anothers_ + servers_);
  EXPECT_TRUE(isTrusted());
}

TEST_F(Trust, KeepsItsConnectionWhileTheFileStaysAsItIs) {
  write(servers_);
  for (int round = 0; round < 3; ++round) EXPECT_TRUE(isTrusted());
  EXPECT_EQ(server_.connectionCount(), 1U);
}

TEST_F(Trust, TakesAFileByItsRelativeName) {
  fs::current_path(directory_.path());
  configuration_.setCaFile("trusted.pem");
  write(servers_);
  EXPECT_TRUE(isTrusted());
  replace(anothers_);
  EXPECT_FALSE(isTrusted());
  fs::current_path("/");
}

TEST_F(Trust, NamesTheFileThatHoldsNoAuthorityAsItIsConfigured) {
  write("nothing\n");
  const Outcome outcome = get();
  EXPECT_EQ(outcome.errorCode(), NSURLErrorServerCertificateUntrusted);
  EXPECT_THAT(outcome.error->localizedDescription(), HasSubstr(' ' + *configuration_.caFile()));
}

TEST_F(Trust, TakesADirectoryInWhichTheAuthorityIsFoundByItsHash) {
  putHashed(*configuration_.caFile(), servers_);
  EXPECT_TRUE(isTrusted());
}

TEST_F(Trust, TakesNobodyWhomTheDirectoryDoesNotHold) {
  putHashed(*configuration_.caFile(), anothers_);
  EXPECT_FALSE(isTrusted());
  // Not by a hash.
  std::ofstream(fs::path(*configuration_.caFile()) / "server.pem") << servers_;
  EXPECT_FALSE(isTrusted());
  fs::remove_all(*configuration_.caFile());
  EXPECT_FALSE(isTrusted());
}

TEST_F(Trust, EndsWithTheDirectorysEntry) {
  putHashed(*configuration_.caFile(), servers_);
  EXPECT_TRUE(isTrusted());
  fs::remove_all(*configuration_.caFile());
  fs::create_directory(*configuration_.caFile());
  EXPECT_FALSE(isTrusted());
}

// To open a pipe that nobody writes to takes for ever.
TEST_F(Trust, IsInNobodyWhereAPipeIsNamed) {
  ASSERT_EQ(mkfifo(configuration_.caFile()->c_str(), 0600), 0);
  const Outcome outcome = get();
  EXPECT_EQ(outcome.errorCode(), NSURLErrorServerCertificateUntrusted);
  EXPECT_THAT(outcome.error->localizedDescription(), HasSubstr(' ' + *configuration_.caFile()));
  EXPECT_EQ(call(server_.configuration(), getRequest("https://one.example/")).statusCode, 200);
}

TEST_F(Trust, HoldsUpNoOtherCallWhereAFileSystemDoesNotAnswer) {
  configuration_.setCaFile(std::string(unanswered));
  const std::jthread held([&] { EXPECT_FALSE(isTrusted()); });
  ASSERT_TRUE(asksForUnanswered.wait());
  EXPECT_EQ(call(server_.configuration(), getRequest("https://one.example/")).statusCode, 200);
  answers.set();
}

}  // namespace
}  // namespace orx::testing
