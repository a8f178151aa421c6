#include <getopt.h>
#include <poll.h>
#include <signal.h>
#include <sys/signalfd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <charconv>
#include <cstring>
#include <fstream>
#include <iostream>
#include <stdexcept>
#include <string>
#include <string_view>

#include "devserver/DevelopmentService.h"
#include "devserver/JSONText.h"
#include "devserver/PrivateFile.h"

namespace {

using namespace orx::devserver;

constexpr int kUsageError = 2;
constexpr int kCannotServe = 1;
constexpr std::string_view kUsage =
    R"(usage: orxaccount-devserver [options]

The account service, played on 127.0.0.1 for development and tests. Prints one line of JSON when it
is ready; ends on SIGTERM or SIGINT.

  --port PORT          listen there; without it the system chooses
  --database FILE      keep the accounts in an SQLite file; without it in memory
  --ca-out FILE        write the certificate authority's certificate there
  --ca-cert FILE       use this certificate authority instead of a fresh one ...
  --ca-key FILE        ... and its private key
  --ca-key-out FILE    keep a fresh authority's private key, for --ca-key
  --app ID:KEY         accept this application beside demo-app:demo-key; may be repeated
  --namespace URI      know SOAP calls in this namespace only; without it in any
  --fault-plan FILE    misbehave as the JSON file says
  --exit-with-stdin    end when the standard input is closed
  --help               show this
)";

struct UsageError : std::invalid_argument {
  using std::invalid_argument::invalid_argument;
};

struct CommandLine {
  DevelopmentServiceOptions options;
  std::string caCertificate;
  std::string caKey;
  std::string caKeyOut;
  std::string faultPlan;
  bool exitWithStandardInput = false;
  bool help = false;
};

std::string contentOf(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  std::string content((std::istreambuf_iterator<char>(file)), {});
  if (!file.is_open() || file.bad()) throw std::runtime_error("cannot read " + path);
  return content;
}

int portFrom(std::string_view text) {
  int port = -1;
  const auto [end, problem] = std::from_chars(text.data(), text.data() + text.size(), port);
  if (problem != std::errc() || end != text.data() + text.size() || port < 0 || port > 65535) {
    throw UsageError("--port takes a number from 0 to 65535");
  }
  return port;
}

void addApplication(DevelopmentServiceOptions& options, const std::string& text) {
  const std::size_t colon = text.find(':');
  if (colon == std::string::npos || colon == 0) throw UsageError("--app takes ID:KEY");
  options.applications[text.substr(0, colon)] = text.substr(colon + 1);
}

void apply(CommandLine& line, char option, const std::string& argument) {
  switch (option) {
    case 'p':
      line.options.port = portFrom(argument);
      break;
    case 'd':
      line.options.database = argument;
      break;
    case 'o':
      line.options.caOut = argument;
      break;
    case 'c':
      line.caCertificate = argument;
      break;
    case 'k':
      line.caKey = argument;
      break;
    case 'K':
      line.caKeyOut = argument;
      break;
    case 'a':
      addApplication(line.options, argument);
      break;
    case 'n':
      line.options.serviceNamespace = argument;
      break;
    case 'f':
      line.faultPlan = argument;
      break;
    case 's':
      line.exitWithStandardInput = true;
      break;
    case 'h':
      line.help = true;
      break;
    default:
      throw UsageError("see --help");
  }
}

CommandLine parse(int count, char** arguments) {
  const option known[] = {{"port", required_argument, nullptr, 'p'},
                          {"database", required_argument, nullptr, 'd'},
                          {"ca-out", required_argument, nullptr, 'o'},
                          {"ca-cert", required_argument, nullptr, 'c'},
                          {"ca-key", required_argument, nullptr, 'k'},
                          {"ca-key-out", required_argument, nullptr, 'K'},
                          {"app", required_argument, nullptr, 'a'},
                          {"namespace", required_argument, nullptr, 'n'},
                          {"fault-plan", required_argument, nullptr, 'f'},
                          {"exit-with-stdin", no_argument, nullptr, 's'},
                          {"help", no_argument, nullptr, 'h'},
                          {nullptr, 0, nullptr, 0}};
  CommandLine line;
  for (int found = 0; (found = getopt_long(count, arguments, "", known, nullptr)) != -1;) {
    apply(line, static_cast<char>(found), optarg == nullptr ? "" : optarg);
  }
  if (optind < count) throw UsageError(std::string("unexpected argument ") + arguments[optind]);
  if (line.caCertificate.empty() != line.caKey.empty()) {
    throw UsageError("--ca-cert and --ca-key go together");
  }
  return line;
}

void chooseAuthority(CommandLine& line) {
  line.options.certificateAuthority =
      line.caKey.empty()
          ? CertificateAuthority::generate()
          : CertificateAuthority::fromPEM(contentOf(line.caCertificate), contentOf(line.caKey));
  if (line.caKeyOut.empty()) return;
  writePrivateFile(line.caKeyOut, line.options.certificateAuthority->privateKeyPEM());
}

void announce(const DevelopmentService& service) {
  std::string hosts;
  for (const std::string& host : DevelopmentService::hosts()) {
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

int serve(CommandLine line) {
  // Block them before the first thread starts: threads inherit the mask, and a signal delivered to
  // one would end the process instead of reaching signalfd.
  sigset_t ending;
  sigemptyset(&ending);
  sigaddset(&ending, SIGTERM);
  sigaddset(&ending, SIGINT);
  sigprocmask(SIG_BLOCK, &ending, nullptr);
  const int signals = signalfd(-1, &ending, SFD_CLOEXEC);
  // SQLite's journal holds what the database holds.
  umask(077);
  DevelopmentService service;
  if (!line.faultPlan.empty()) service.faults().load(contentOf(line.faultPlan));
  chooseAuthority(line);
  service.start(std::move(line.options));
  announce(service);
  waitForTheEnd(signals, line.exitWithStandardInput);
  service.stop();
  close(signals);
  return 0;
}

}  // namespace

int main(int count, char** arguments) {
  try {
    CommandLine line = parse(count, arguments);
    if (line.help) {
      std::cout << kUsage;
      return 0;
    }
    return serve(std::move(line));
  } catch (const UsageError& problem) {
    std::cerr << "orxaccount-devserver: " << problem.what() << "\n";
    return kUsageError;
  } catch (const std::exception& problem) {
    std::cerr << "orxaccount-devserver: " << problem.what() << "\n";
    return kCannotServe;
  }
}
