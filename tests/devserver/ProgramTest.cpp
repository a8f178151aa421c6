// SPDX-License-Identifier: MIT
#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <fstream>
#include <nlohmann/json.hpp>
#include <vector>

#include "devserver/FileContent.h"
#include "devserver/ServiceClient.h"
#include "support/TemporaryDirectory.h"

namespace orx::testing {
namespace {

using devserver::contentOf;

// Runs the program as a child with pipes for its standard input, output and error.
class Program {
 public:
  explicit Program(std::vector<std::string> arguments) {
    int input[2];
    int output[2];
    int errors[2];
    if (pipe2(input, O_CLOEXEC) != 0 || pipe2(output, O_CLOEXEC) != 0 ||
        pipe2(errors, O_CLOEXEC) != 0) {
      std::abort();
    }
    arguments.insert(arguments.begin(), ORX_DEVSERVER_PROGRAM);
    std::vector<char*> list;
    list.reserve(arguments.size() + 1);
    for (std::string& argument : arguments) list.push_back(argument.data());
    list.push_back(nullptr);
    process_ = fork();
    if (process_ == 0) {
      dup2(input[0], STDIN_FILENO);
      dup2(output[1], STDOUT_FILENO);
      dup2(errors[1], STDERR_FILENO);
      execv(list[0], list.data());
      _exit(127);
    }
    close(input[0]);
    close(output[1]);
    close(errors[1]);
    input_ = input[1];
    output_ = fdopen(output[0], "r");
    errors_ = fdopen(errors[0], "r");
  }
  ~Program() {
    // Not SIGKILL, after which the program could not remove its temporary directory.
    if (process_ > 0) kill(process_, SIGTERM);
    end();
    std::fclose(output_);
    std::fclose(errors_);
  }

  std::string line() const { return lineOf(output_); }
  std::string errorLine() const { return lineOf(errors_); }
  void signal(int number) { kill(process_, number); }
  void closeInput() {
    if (input_ >= 0) close(input_);
    input_ = -1;
  }
  // Waits for the exit status; -1 when a signal ended the program.
  int end() {
    int status = 0;
    if (process_ > 0 && waitpid(process_, &status, 0) == process_) {
      status_ = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }
    process_ = -1;
    closeInput();
    return status_;
  }
  pid_t process() const { return process_; }

 private:
  static std::string lineOf(std::FILE* stream) {
    char* text = nullptr;
    std::size_t size = 0;
    const ssize_t length = getline(&text, &size, stream);
    std::string read(text == nullptr || length < 0 ? "" : text);
    std::free(text);
    return read;
  }

  pid_t process_ = -1;
  int input_ = -1;
  std::FILE* output_ = nullptr;
  std::FILE* errors_ = nullptr;
  int status_ = -1;
};

TEST(Program, SaysInOneLineWhereItIsAndEndsOnSIGTERM) {
  Program program({});
  const auto line = nlohmann::json::parse(program.line());
  EXPECT_EQ(line.at("pid"), program.process());
  EXPECT_EQ(line.at("hosts"),
            (std::vector<std::string>{ORX_TEST_GLOBAL_HOST, ORX_TEST_CHINA_HOST}));
  const std::filesystem::path caFile = line.at("caFile").get<std::string>();
  const ServiceClient client(line.at("port"), contentOf(caFile));
  EXPECT_EQ(client.call("secure0003", R"({"Para":"country"})").element("ResultCode"), "0");
  program.signal(SIGTERM);
  EXPECT_EQ(program.end(), 0);
  EXPECT_FALSE(std::filesystem::exists(caFile));
}

TEST(Program, EndsOnSIGINT) {
  Program program({});
  program.line();
  program.signal(SIGINT);
  EXPECT_EQ(program.end(), 0);
}

TEST(Program, EndsWithItsStandardInputWhenAsked) {
  Program program({"--exit-with-stdin"});
  program.line();
  program.closeInput();
  EXPECT_EQ(program.end(), 0);
}

TEST(Program, OutlivesItsStandardInputOtherwise) {
  Program program({});
  const auto line = nlohmann::json::parse(program.line());
  program.closeInput();
  const ServiceClient client(line.at("port"), contentOf(line.at("caFile").get<std::string>()));
  EXPECT_EQ(client.get(globalURL("/")).status, 200);
  program.signal(SIGTERM);
  EXPECT_EQ(program.end(), 0);
}

TEST(Program, KeepsItsAuthorityAndItsAccountsFromRunToRun) {
  const TemporaryDirectory directory;
  const std::string ca = directory / "ca.pem";
  const std::string key = directory / "ca.key";
  const std::string database = directory / "accounts.db";
  std::string ticket;
  {
    Program program({"--ca-out", ca, "--ca-key-out", key, "--database", database});
    const auto line = nlohmann::json::parse(program.line());
    EXPECT_EQ(line.at("caFile"), ca);
    ticket = ticketOfNewAccount(ServiceClient(line.at("port"), contentOf(ca)));
    program.signal(SIGTERM);
    program.end();
  }
  for (const std::string& file : {key, database}) {
    struct stat about {};
    ASSERT_EQ(stat(file.c_str(), &about), 0);
    EXPECT_EQ(about.st_mode & 0077U, 0U) << file;
  }
  Program program({"--ca-cert", ca, "--ca-key", key, "--database", database});
  const auto line = nlohmann::json::parse(program.line());
  const ServiceClient client(line.at("port"), contentOf(ca));
  EXPECT_EQ(client.call("sso0000004", R"({"Ticket":")" + ticket + R"("})").element("ResultCode"),
            "0");
}

TEST(Program, TakesTheRightsOfOthersToItsFilesAway) {
  const TemporaryDirectory directory;
  const std::string key = directory / "ca.key";
  const std::string database = directory / "accounts.db";
  for (const std::string& file : {key, database}) {
    std::ofstream(file).close();
    std::filesystem::permissions(file, std::filesystem::perms(0666));
  }
  // A process that has the earlier file open must not read the new key.
  std::ifstream earlier(key);
  Program program({"--ca-key-out", key, "--database", database});
  EXPECT_NE(program.line(), "");
  for (const std::string& file : {key, database}) {
    EXPECT_EQ(std::filesystem::status(file).permissions(), std::filesystem::perms(0600)) << file;
  }
  EXPECT_NE(contentOf(key), "");
  EXPECT_EQ(std::string((std::istreambuf_iterator<char>(earlier)), {}), "");
}

TEST(Program, LeavesAFileThatIsNoDatabaseAsItIs) {
  const TemporaryDirectory directory;
  const std::string file = directory / "notes.txt";
  for (const char* content : {"of another program\n", "SQLite"}) {
    std::ofstream(file) << content;
    std::filesystem::permissions(file, std::filesystem::perms(0644));
    Program program({"--database", file});
    EXPECT_EQ(program.line(), "");
    EXPECT_EQ(program.end(), 1);
    EXPECT_EQ(contentOf(file), content);
    EXPECT_EQ(std::filesystem::status(file).permissions(), std::filesystem::perms(0644));
  }
}

TEST(Program, WritesNothingAtTheOtherEndOfALink) {
  const TemporaryDirectory directory;
  const std::string victim = directory / "victim";
  const std::string link = directory / "link";
  std::ofstream(victim).close();
  for (const char* option : {"--ca-key-out", "--database", "--ca-out"}) {
    for (const std::string& target : {victim, (directory / "not-there").string()}) {
      std::filesystem::create_symlink(target, link);
      Program program({option, link});
      EXPECT_EQ(program.line(), "") << option;
      program.signal(SIGTERM);
      EXPECT_EQ(program.end(), 1) << option;
      EXPECT_TRUE(std::filesystem::is_symlink(link)) << option;
      std::filesystem::remove(link);
    }
  }
  EXPECT_EQ(contentOf(victim), "");
  EXPECT_FALSE(std::filesystem::exists(directory / "not-there"));
}

TEST(Program, KeepsItsDatabaseInAFolderBehindALink) {
  const TemporaryDirectory directory;
  std::filesystem::create_directory(directory / "real");
  std::filesystem::create_directory_symlink("real", directory / "link");
  Program program({"--database", directory / "link" / "accounts.db"});
  EXPECT_NE(program.line(), "");
  EXPECT_TRUE(std::filesystem::exists(directory / "real" / "accounts.db"));
}

TEST(Program, TakesApplicationsAndAFaultPlan) {
  const TemporaryDirectory directory;
  const std::string plan = directory / "plan.json";
  std::ofstream(plan) << R"([{"match":{"path":"/"},"do":{"status":418}}])";
  Program program({"--app", "mine:my:key", "--fault-plan", plan});
  const auto line = nlohmann::json::parse(program.line());
  const ServiceClient client(line.at("port"), contentOf(line.at("caFile").get<std::string>()));
  EXPECT_EQ(client.get(globalURL("/")).status, 418);
  for (const Credentials& credentials : {Credentials{"mine", "my:key"}, Credentials{}}) {
    const auto reply = client.call("secure0003", R"({"Para":"country"})", credentials);
    EXPECT_EQ(reply.element("ResultCode"), "0");
  }
}

TEST(Program, WarnsWhereItListensBeyondLoopback) {
  Program open({"--bind", "0.0.0.0"});
  EXPECT_NE(open.line(), "");
  EXPECT_NE(open.errorLine().find("warning: listens on 0.0.0.0"), std::string::npos);
  for (const char* loopback : {"127.0.0.1", "127.0.0.2"}) {
    Program quiet({"--bind", loopback});
    EXPECT_NE(quiet.line(), "");
    quiet.signal(SIGTERM);
    EXPECT_EQ(quiet.errorLine(), "");
  }
}

TEST(Program, LogsToItsStandardOutput) {
  Program program({"--log", "-"});
  const auto line = nlohmann::json::parse(program.line());
  const ServiceClient client(line.at("port"), contentOf(line.at("caFile").get<std::string>()));
  client.get(globalURL("/"));
  EXPECT_EQ(nlohmann::json::parse(program.line()).at("operation"), "/");
}

TEST(Program, IsSteeredWhileItRuns) {
  const TemporaryDirectory directory;
  std::ofstream(directory / "accounts") << R"([{"login":"a@orva.example","passwd":"12345678"}])";
  const std::string socket = directory / "control";
  Program program({"--control", socket, "--accounts", directory / "accounts"});
  const auto line = nlohmann::json::parse(program.line());
  const ServiceClient client(line.at("port"), contentOf(line.at("caFile").get<std::string>()));
  EXPECT_EQ(overSocket(socket, "PUT", "http://control/faults", R"([{"do":{"status":418}}])").status,
            204);
  EXPECT_EQ(client.get(globalURL("/")).status, 418);
  EXPECT_EQ(overSocket(socket, "POST", "http://control/reset", "").status, 204);
  EXPECT_EQ(client.call("w000000011", R"({"login":"a@orva.example","passwd":"12345678"})")
                .element("ResultCode"),
            "1");
}

TEST(Program, ShowsItsVersionAndItsOptions) {
  Program version({"--version"});
  EXPECT_EQ(version.line(), "orxaccount-devserver " ORX_TEST_VERSION "\n");
  EXPECT_EQ(version.end(), 0);
  Program help({"--help"});
  EXPECT_NE(help.line(), "");
  EXPECT_EQ(help.end(), 0);
}

class WrongArguments : public ::testing::TestWithParam<std::vector<std::string>> {};

TEST_P(WrongArguments, EndWithStatusTwoAndWithoutALine) {
  Program program(GetParam());
  EXPECT_EQ(program.line(), "");
  EXPECT_NE(program.errorLine().find("(see --help)"), std::string::npos);
  EXPECT_EQ(program.end(), 2);
}

INSTANTIATE_TEST_SUITE_P(All, WrongArguments,
                         ::testing::Values(std::vector<std::string>{"--port", "x"},
                                           std::vector<std::string>{"--port", "65536"},
                                           std::vector<std::string>{"--app", "nokey"},
                                           std::vector<std::string>{"--ca-cert", "/x"},
                                           std::vector<std::string>{"--bind", "localhost"},
                                           std::vector<std::string>{"--unknown"},
                                           std::vector<std::string>{"extra"}));

TEST(Program, EndsWithStatusOneAndTheReasonWhenItCannotServe) {
  const TemporaryDirectory directory;
  const std::string wrong = directory / "wrong.json";
  std::ofstream(wrong) << "[{}]";
  const std::pair<std::vector<std::string>, std::string> cases[] = {
      {{"--database", "/nowhere/a.db"}, "cannot write /nowhere/a.db: No such file or directory"},
      {{"--fault-plan", "/nowhere/plan"}, "cannot read /nowhere/plan"},
      {{"--fault-plan", wrong}, wrong + ": rule 1: it is no object with a \"do\""},
      {{"--accounts", "/nowhere/accounts"}, "cannot read /nowhere/accounts"},
      {{"--accounts", wrong}, wrong + ": account 1: Email Format Error"},
      {{"--ca-cert", wrong, "--ca-key", "/nowhere/key"}, "cannot read /nowhere/key"},
      {{"--log", "/nowhere/log"}, "cannot write /nowhere/log: No such file or directory"},
      {{"--control", "/nowhere/c"}, "cannot listen on /nowhere/c: No such file or directory"},
      {{"--ca-out", "/nowhere/ca"}, "cannot write /nowhere/ca: No such file or directory"}};
  for (const auto& [arguments, reason] : cases) {
    Program program(arguments);
    EXPECT_EQ(program.line(), "");
    EXPECT_EQ(program.errorLine(), "orxaccount-devserver: " + reason + "\n");
    EXPECT_EQ(program.end(), 1);
  }
}

}  // namespace
}  // namespace orx::testing
