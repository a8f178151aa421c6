// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>
#include <pwd.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <set>
#include <utility>

#include "platform/storage/StandardPaths.h"
#include "support/ChildProcess.h"

namespace orx {

using namespace platform;
namespace {

TEST(StandardPaths, AreTheOnesOfTheEnvironment) {
  setenv("XDG_CONFIG_HOME", "/somewhere/config", 1);
  setenv("XDG_DATA_HOME", "/somewhere/data", 1);
  EXPECT_EQ(configurationHome(), "/somewhere/config");
  EXPECT_EQ(dataHome(), "/somewhere/data");
}

TEST(StandardPaths, IgnoreRelativeAndEmptyValues) {
  setenv("HOME", "/home/someone", 1);
  for (const char* value : {"", "relative", "./config", "~/config"}) {
    setenv("XDG_CONFIG_HOME", value, 1);
    setenv("XDG_DATA_HOME", value, 1);
    EXPECT_EQ(configurationHome(), "/home/someone/.config") << value;
    EXPECT_EQ(dataHome(), "/home/someone/.local/share") << value;
  }
}

TEST(StandardPaths, AskTheUserDatabaseWhereHomeIsMissingOrRelative) {
  unsetenv("XDG_CONFIG_HOME");
  const std::string home = getpwuid(geteuid())->pw_dir;
  unsetenv("HOME");
  EXPECT_EQ(configurationHome(), home + "/.config");
  setenv("HOME", "relative", 1);
  EXPECT_EQ(configurationHome(), home + "/.config");
}

TEST(StandardPaths, AreAbsentForAUserWithoutAHome) {
  constexpr uid_t unknown = 54'321;
  if (geteuid() != 0) GTEST_SKIP() << "only root can become a user that the database does not know";
  ASSERT_EQ(getpwuid(unknown), nullptr);
  testing::ChildProcess child([] {
    for (const char* variable : {"XDG_CONFIG_HOME", "XDG_DATA_HOME", "HOME"}) unsetenv(variable);
    if (setresuid(unknown, unknown, unknown) != 0) return 1;
    return configurationHome() || dataHome() ? 2 : 0;
  });
  EXPECT_EQ(child.wait(), 0);
}

TEST(StandardPaths, KnowTheProgramsName) { EXPECT_EQ(programName(), "storage_tests"); }

TEST(StandardPaths, NameTheProgramsFileWhereItWasStartedWithoutAName) {
  std::string none;
  auto* const name = std::exchange(program_invocation_short_name, none.data());
  EXPECT_EQ(programName(), "storage_tests");
  program_invocation_short_name = name;
}

TEST(PathComponent, LeavesOrdinaryIdentifiersAsTheyAre) {
  EXPECT_EQ(pathComponent("com.example.Host-2_b"), "com.example.Host-2_b");
}

TEST(PathComponent, EscapesWhatWouldLeadElsewhere) {
  EXPECT_EQ(pathComponent(".."), "%2E.");
  EXPECT_EQ(pathComponent("."), "%2E");
  EXPECT_EQ(pathComponent("../../etc"), "%2E.%2F..%2Fetc");
  EXPECT_EQ(pathComponent(std::string_view("a\0b", 3)), "a%00b");
  EXPECT_EQ(pathComponent("(null)"), "%28null%29");
  EXPECT_EQ(pathComponent("50%"), "50%25");
  EXPECT_EQ(pathComponent("\xC3\xA9"), "%C3%A9");
  EXPECT_EQ(pathComponent(""), "%");
}

TEST(PathComponent, IsDifferentForDifferentTexts) {
  std::set<std::string> components{pathComponent("")};
  for (int first = 0; first < 256; ++first) {
    components.insert(pathComponent(std::string(1, static_cast<char>(first))));
    for (int second = 0; second < 256; ++second) {
      components.insert(
          pathComponent(std::string{static_cast<char>(first), static_cast<char>(second)}));
    }
  }
  EXPECT_EQ(components.size(), 1U + 256U + 256U * 256U);
}

}  // namespace
}  // namespace orx
