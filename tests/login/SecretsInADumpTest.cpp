// SPDX-License-Identifier: MIT
// What others find of a process that has signed in and out: in its memory while it stands still,
// and in the core file that it leaves.
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/wait.h>

#include <csignal>
#include <cstdlib>
#include <functional>
#include <vector>

#include "login/SecretsFixture.h"
#include "support/ChildProcess.h"

namespace orx::testing {
namespace {

using namespace std::chrono_literals;

// How many copies of each there are.
struct Found {
  std::size_t passwords;
  std::size_t keys;
  std::size_t tickets;

  friend bool operator==(const Found&, const Found&) = default;
  friend std::ostream& operator<<(std::ostream& stream, const Found& found) {
    return stream << found.passwords << " passwords, " << found.keys << " keys, " << found.tickets
                  << " tickets";
  }
};

bool mayLeaveACore() {
  rlimit core{};
  getrlimit(RLIMIT_CORE, &core);
  return core.rlim_max == RLIM_INFINITY;
}

// Elsewhere the system hands the core to a program, or keeps all of them in one place.
bool isCoreLeftInTheWorkingFolder() {
  const auto pattern = contentOf("/proc/sys/kernel/core_pattern");
  return mayLeaveACore() && pattern.find_first_of("|/") == std::string::npos;
}

class SecretsInADump : public SecretsInMemory {
 protected:
  static Found foundIn(const std::function<std::size_t(const Canary&)>& copies) {
    return {copies(password), copies(appKey), copies(ticket)};
  }

  // In the process that ends.
  void signInAndOut() {
    for (const auto* name : {"refused", "cut-off", "joe"}) signIn(name);
    signOut();
    // The worker that has reported lets go of the rest a moment later.
    (void)eventually([] { return password.copies() + ticket.copies() == 0; }, 2s);
  }
  [[noreturn]] void standStillAndAbort() {
    const rlimit unlimited{RLIM_INFINITY, RLIM_INFINITY};
    if (mayLeaveACore()) setrlimit(RLIMIT_CORE, &unlimited);
    prctl(PR_SET_DUMPABLE, 1);
    std::filesystem::current_path(folder_.path());
    std::raise(SIGSTOP);
    std::abort();
  }

  // Both times.
  void expectIn(ChildProcess& process, const Found& wanted) {
    siginfo_t stopped{};
    ASSERT_EQ(
        waitid(P_PID, static_cast<id_t>(process.id()), &stopped, WSTOPPED | WEXITED | WNOWAIT), 0);
    ASSERT_EQ(stopped.si_code, CLD_STOPPED);
    EXPECT_EQ(foundIn([&](const auto& canary) { return canary.copiesIn(process.id()); }), wanted);
    process.kill(SIGCONT);
    EXPECT_EQ(process.wait(), -SIGABRT);
    const std::vector<std::filesystem::directory_entry> cores(
        std::filesystem::directory_iterator(folder_.path()), {});
    EXPECT_EQ(cores.size(), isCoreLeftInTheWorkingFolder() ? 1U : 0U);
    for (const auto& core : cores) {
      EXPECT_EQ(foundIn([&](const auto& canary) { return canary.copiesInCore(core.path()); }),
                wanted);
    }
  }

  const TemporaryDirectory folder_;
};

TEST_F(SecretsInADump, AreNoneAfterASignOutButTheApplicationsKey) {
  ChildProcess process([this] {
    signInAndOut();
    standStillAndAbort();
  });
  expectIn(process, {.passwords = 0, .keys = 1, .tickets = 0});
}

TEST_F(SecretsInADump, AreThoseThatAHostHasKept) {
  ChildProcess process([this] {
    signInAndOut();
    const std::string typed = password.text();
    standStillAndAbort();
  });
  expectIn(process, {.passwords = 1, .keys = 1, .tickets = 0});
}

}  // namespace
}  // namespace orx::testing
