// SPDX-License-Identifier: MIT
// A host application that carries out one operation on the stored user and is killed, or meets a
// failing system call, at a chosen moment. It reads one request a line, a JSON object, and answers
// each with a line. Each request runs in a child forked from a process that has never used the
// library, so the child starts like a new program.

#include <ORXAccount/ORVAAccount.h>
#include <ORXAccount/ORVAAccountConstants.h>
#include <ORXAccount/ORVAAccountUser.h>
#include <ORXAccount/ORVAAccountUserCache.h>
#include <ORXAccount/platform/Bundle.h>
#include <ORXAccount/platform/NotificationCenter.h>
#include <fcntl.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <iostream>
#include <stdexcept>

#include "platform/formats/JSONSerialization.h"
#include "platform/keychain/StoreStatus.h"
#include "torture/Allocations.h"
#include "torture/Crowd.h"
#include "torture/DeathNote.h"
#include "torture/FaultPlan.h"
#include "torture/HostLife.h"

namespace orx::torture {

using namespace platform;

namespace {

// Seconds for one operation. SIGALRM ends a child that hangs, and the answer names that signal.
constexpr unsigned longest = 60;

std::string textIn(const Dictionary& request, std::string_view key) {
  return request[key].text().value_or(std::string());
}

std::int64_t numberIn(const Dictionary& request, std::string_view key) {
  return request[key].integer().value_or(0);
}

FaultPlan planIn(const Dictionary& request) {
  using Action = FaultPlan::Action;
  const auto name = textIn(request, "action");
  FaultPlan plan;
  if (name == "kill-before") plan.action = Action::KillBefore;
  if (name == "kill-after") plan.action = Action::KillAfter;
  if (name == "fail") plan.action = Action::Fail;
  if (name == "short") plan.action = Action::ShortWrite;
  plan.at = static_cast<unsigned>(numberIn(request, "at"));
  plan.forEver = request["forEver"].boolean().value_or(false);
  plan.number = static_cast<int>(numberIn(request, "errno"));
  plan.readsToo = request["reads"].boolean().value_or(false);
  plan.call = textIn(request, "call");
  plan.everywhere = request["everywhere"].boolean().value_or(false);
  return plan;
}

void killMyselfAfter(std::int64_t microseconds) {
  sigevent event{};
  event.sigev_notify = SIGEV_SIGNAL;
  event.sigev_signo = SIGKILL;
  timer_t timer{};
  itimerspec when{};
  when.it_value.tv_sec = microseconds / 1'000'000;
  when.it_value.tv_nsec = microseconds % 1'000'000 * 1000;
  if (timer_create(CLOCK_MONOTONIC, &event, &timer) != 0 ||
      timer_settime(timer, 0, &when, nullptr) != 0) {
    throw std::runtime_error("cannot set the timer");
  }
}

std::shared_ptr<ORVAAccountUser> userNamed(const std::string& login) {
  return ORVAAccountUser::initWithUserInfo(Dictionary{{"login", login},
                                                      {"email", login + "@example.com"},
                                                      {"first_name", login},
                                                      {"cus_id", 12345678901}});
}

void writeWhole(int descriptor, std::string_view text) {
  while (!text.empty()) {
    const auto count = ::write(descriptor, text.data(), text.size());
    if (count < 0) _exit(4);
    text.remove_prefix(static_cast<std::size_t>(count));
  }
}

void writeFile(const std::string& path, std::string_view text) {
  const int descriptor = ::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
  if (descriptor < 0) throw std::runtime_error("cannot open " + path);
  writeWhole(descriptor, text);
  ::close(descriptor);
}

void start() {
  ORVAAccount::sharedInstance()->initializeWithLaunchOptions_appKey_appID_isStage(
      std::nullopt, "key", "application", false);
}

// The steps before the operation, whose calls are not counted.
void prepare(std::string_view operation) {
  if (operation == "switch" || operation == "sign-out") start();
}

void operate(std::string_view operation, const std::string& login) {
  if (operation == "start") return start();
  if (operation == "sign-in" || operation == "switch") {
    return ORVAAccountUser::setCurrentUser(userNamed(login));
  }
  if (operation == "sign-out") return ORVAAccountUser::setCurrentUser(nullptr);
  if (operation == "clear") return ORVAAccountUserCache::sharedInstance()->setCachedUser(nullptr);
  throw std::invalid_argument("no such operation");
}

Dictionary statusAsDictionary() {
  const auto status = keychainStatus();
  return {{"code", status.lastError()},
          {"description", status.description()},
          {"store", status.store()},
          {"path", status.path()},
          {"remedy", status.remedy()}};
}

Dictionary torment(const Dictionary& request) {
  const auto operation = textIn(request, "operation");
  const auto login = textIn(request, "login");
  prepare(operation);
  if (const auto* files = request["filesThen"].dictionary()) {
    for (const auto& [path, text] : *files) writeFile(path, text.text().value());
  }
  std::int64_t notifications = 0;
  const auto observation =
      NotificationCenter::defaultCenter()->addObserverForName_object_usingBlock(
          ORVAAccountUserDidChangeNotification, nullptr,
          [&](const Notification&) { ++notifications; });
  if (const auto delay = numberIn(request, "killAfter")) killMyselfAfter(delay);
  const auto began = std::chrono::steady_clock::now();
  begin(planIn(request));
  operate(operation, login);
  Array calls;
  for (const auto& name : end()) calls.push_back(name);
  const auto took = std::chrono::steady_clock::now() - began;

  const auto user = ORVAAccountUser::currentUser();
  return {{"calls", calls},
          {"user", user ? Value(user->login().value_or("(none)")) : Value()},
          {"notifications", notifications},
          {"microseconds", std::chrono::duration_cast<std::chrono::microseconds>(took).count()},
          {"status", statusAsDictionary()}};
}

Dictionary crowd(const Dictionary& request) {
  if (const auto delay = numberIn(request, "killAfter")) killMyselfAfter(delay);
  return joinCrowd({.process = static_cast<int>(numberIn(request, "process")),
                    .threads = static_cast<int>(numberIn(request, "threads")),
                    .seconds = request["seconds"].number().value(),
                    .counters = textIn(request, "counters")});
}

// Root ignores file permissions, so a run as root would not see calls that they refuse.
void becomeUser(std::int64_t user) {
  const auto number = static_cast<uid_t>(user);
  if (setresgid(number, number, number) != 0 || setresuid(number, number, number) != 0) {
    throw std::runtime_error("cannot become another user");
  }
}

Dictionary carryOut(const Dictionary& request) {
  alarm(longest);
  if (const auto user = numberIn(request, "userID")) becomeUser(user);
  const auto home = textIn(request, "home");
  setenv("XDG_CONFIG_HOME", (home + "/config").c_str(), 1);
  setenv("XDG_DATA_HOME", (home + "/data").c_str(), 1);
  // Without a bus of the test's own the child has none, as on a server; it must never reach the
  // keyring of the user who runs the test.
  setenv("XDG_RUNTIME_DIR", (home + "/run").c_str(), 1);
  unsetenv("DBUS_SESSION_BUS_ADDRESS");
  if (const auto bus = textIn(request, "bus"); !bus.empty()) {
    setenv("DBUS_SESSION_BUS_ADDRESS", bus.c_str(), 1);
  }
  if (const auto file = textIn(request, "processFile"); !file.empty()) {
    writeFile(file, std::to_string(getpid()));
  }
  Bundle::mainBundle()->setBundleIdentifier("com.example.host");
  if (request["fileOnly"].boolean() == true) setKeychainPolicy(KeychainPolicy::FileOnly);
  umask(static_cast<mode_t>(numberIn(request, "umask")));
  const auto operation = textIn(request, "operation");
  if (operation == "life") return liveInTrouble(request, planIn(request));
  return operation == "crowd" ? crowd(request) : torment(request);
}

[[noreturn]] void beChild(int descriptor, const std::string& line) {
  int status = 0;
  leaveDeathNote(descriptor);
  try {
    const auto request = JSONObjectWithText(line);
    if (!request || request->dictionary() == nullptr)
      throw std::invalid_argument("no request: " + line);
    const auto answer = textWithJSONObject(carryOut(*request->dictionary()));
    leaveNoDeathNote();
    writeWhole(descriptor, answer);
  } catch (const std::exception& reason) {
    std::cerr << "torture_host: " << reason.what() << '\n';
    status = 3;
  }
  _exit(status);
}

std::string readWhole(int descriptor) {
  std::string text;
  std::array<char, 4096> buffer{};
  while (true) {
    const auto count = ::read(descriptor, buffer.data(), buffer.size());
    if (count <= 0) return text;
    text.append(buffer.data(), static_cast<std::size_t>(count));
  }
}

std::string answerTo(const std::string& line) {
  std::array<int, 2> ends{};
  if (pipe(ends.data()) != 0) throw std::runtime_error("cannot make a pipe");
  const pid_t child = fork();
  if (child < 0) throw std::runtime_error("cannot fork");
  if (child == 0) {
    ::close(ends[0]);
    beChild(ends[1], line);
  }
  ::close(ends[1]);
  auto text = readWhole(ends[0]);
  ::close(ends[0]);
  int status = 0;
  waitpid(child, &status, 0);
  if (WIFEXITED(status) && WEXITSTATUS(status) == 0) return text;
  const bool killed = WIFSIGNALED(status);
  Dictionary end{{killed ? "signal" : "exit", killed ? WTERMSIG(status) : WEXITSTATUS(status)}};
  if (!text.empty()) end.set("note", text);
  return textWithJSONObject(end);
}

}  // namespace

}  // namespace orx::torture

int main() {
  orx::torture::prepareFrames();
  for (std::string line; std::getline(std::cin, line);) {
    std::cout << orx::torture::answerTo(line) << std::endl;
  }
}
