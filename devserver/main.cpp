// SPDX-License-Identifier: MIT
#include <ORXAccount/DevelopmentService.h>
#include <pages/Pages.h>
#include <poll.h>
#include <signal.h>
#include <sys/signalfd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <cerrno>
#include <iostream>
#include <string>

#include "devserver/JSONText.h"
#include "devserver/ListeningSocket.h"
#include "devserver/ProgramOptions.h"

namespace {

using namespace orx::devserver;
using orx::DevelopmentService;

constexpr int kUsageError = 2;
constexpr int kCannotServe = 1;

constexpr const char* kReady =
    "It prints one line of JSON when it is ready: the port, the file with the certificate of its\n"
    "authority, and the hosts that it answers for. It ends on SIGTERM or SIGINT.";

pages::Manual manual() {
  return {.version = ORX_VERSION,
          .variables = {},
          .exitCodes = {{"0", "It has ended on a signal, or with its standard input."},
                        {"1", "It cannot serve; the message says what it lacks."},
                        {"2", "Wrong usage."}},
          .sections = {{"READINESS", kReady}}};
}

void complain(const std::string& what) {
  std::cerr << "orxaccount-devserver: " << what << std::endl;
}

void announce(const DevelopmentService& service) {
  std::string hosts;
  for (const std::string& host : service.hosts()) {
    if (!hosts.empty()) hosts += ',';
    hosts += jsonString(host);
  }
  std::cout << "{\"port\":" << service.port()
            << ",\"caFile\":" << jsonString(std::filesystem::absolute(service.caFile()).string())
            << ",\"hosts\":[" << hosts << "],\"pid\":" << getpid() << "}" << std::endl;
}

// Whether the standard input has reached its end. Reads and drops what it holds.
bool standardInputEnded() {
  char ignored[4096];
  const ssize_t count = read(STDIN_FILENO, ignored, sizeof ignored);
  return count == 0 || (count < 0 && errno != EINTR && errno != EAGAIN);
}

void waitForTheEnd(int signals, bool exitWithStandardInput) {
  for (;;) {
    pollfd entries[] = {{signals, POLLIN, 0}, {STDIN_FILENO, POLLIN, 0}};
    if (poll(entries, exitWithStandardInput ? 2 : 1, -1) < 0) {
      if (errno == EINTR) continue;
      return;
    }
    if (entries[0].revents != 0) return;
    if (entries[1].revents != 0 && standardInputEnded()) return;
  }
}

int serve(const ProgramOptions& options) {
  // Block them before the first thread starts: a signal that is delivered to one would end the
  // process instead of reaching signalfd.
  sigset_t ending;
  sigemptyset(&ending);
  sigaddset(&ending, SIGTERM);
  sigaddset(&ending, SIGINT);
  sigprocmask(SIG_BLOCK, &ending, nullptr);
  const int signals = signalfd(-1, &ending, SFD_CLOEXEC);
  // SQLite's journal holds what the database holds.
  umask(077);
  DevelopmentService service;
  service.start(options.service);
  if (!isLoopback(options.service.address)) {
    complain("warning: listens on " + options.service.address +
             ", where whoever reaches this machine over the network can use the accounts");
  }
  announce(service);
  waitForTheEnd(signals, options.exitWithStandardInput);
  service.stop();
  close(signals);
  return 0;
}

}  // namespace

int main(int count, char** arguments) {
  CLI::App app("Account service for developing and testing its clients.", "orxaccount-devserver");
  pages::addTo(app, manual());
  app.footer(kReady);
  app.set_version_flag("--version", "orxaccount-devserver " ORX_VERSION);
  ProgramOptions options;
  addOptions(app, options);
  try {
    app.parse(count, arguments);
    return serve(options);
  } catch (const CLI::Success& shown) {
    return app.exit(shown);
  } catch (const CLI::ParseError& problem) {
    complain(pages::explanation(app, problem) + " (see --help)");
    return kUsageError;
  } catch (const std::exception& problem) {
    complain(problem.what());
    return kCannotServe;
  }
}
