// SPDX-License-Identifier: MIT
#include "torture/HostLife.h"

#include <ORXAccount/ORVAAccount.h>
#include <ORXAccount/platform/Keychain.h>
#include <ORXAccount/platform/URLSessionConfiguration.h>
#include <curl/curl.h>
#include <dlfcn.h>
#include <execinfo.h>
#include <fcntl.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <new>
#include <optional>
#include <string>
#include <utility>

#include "torture/Allocations.h"
#include "torture/HostsLoop.h"
#include "torture/LifeSteps.h"

namespace orx::torture {

namespace {

// A call that waits for its time-out says so.
constexpr std::chrono::seconds timeout{5};

std::string text(const Dictionary& request, std::string_view key) {
  return request[key].text().value_or(std::string());
}

// Where the system has no trust of its own to tell of, its authorities are those of this file, and
// its directory has none.
void letSystemTrust(const std::string& file) {
  static const std::string bundle = file;
  static const std::string directory = std::filesystem::path(file).parent_path();
  void* const libcurl = dlopen("libcurl.so.4", RTLD_NOW);
  auto* const version =
      reinterpret_cast<decltype(&curl_version_info)>(dlsym(libcurl, "curl_version_info"));
  version(CURLVERSION_NOW)->cainfo = bundle.c_str();
  version(CURLVERSION_NOW)->capath = directory.c_str();
}

class HostLife {
 public:
  explicit HostLife(const Dictionary& request)
      : steps_(request), repeats_(request["repeats"].boolean().value_or(false)) {
    URLSessionConfiguration configuration;
    if (request["systemTrust"].boolean() == true) {
      letSystemTrust(text(request, "caFile"));
    } else {
      configuration.setCaFile(text(request, "caFile"));
    }
    configuration.setTimeoutIntervalForRequest(timeout);
    // libcurl knows localhost itself, and this one it has to ask the resolver for (WireCalls.cpp).
    configuration.setConnectTo("localhost", {"torture.example", 0});
    URLSessionConfiguration::setDefaultConfiguration(configuration);
    ORVAAccount::setServersWithGlobalHost_chinaHost_developmentHost_serviceNamespace(
        text(request, "server"), {}, {}, {});
    if (request["hasLoop"].boolean() == true) hostsLoop().begin();
  }

  // What fails is done once more, with memory, where the request asks for it, and otherwise ends
  // the life.
  void take(const std::string& name) {
    if (isOver_) return;
    Array outcomes;
    std::int64_t accepted = 0;
    const auto before = steps_.reports->count();
    const auto begins = countedAllocations();
    for (int number = 0; number < (repeats_ ? 2 : 1); ++number) {
      outcomes.push_back(attempt(name, accepted));
      if (!isOver_) break;
      endAllocations();
      end();
    }
    results_.push_back(Dictionary{{"name", name},
                                  {"begins", begins},
                                  {"attempts", outcomes},
                                  {"accepted", accepted},
                                  {"reports", steps_.reports->count() - before}});
  }

  Array results() { return std::move(results_); }

 private:
  Dictionary attempt(const std::string& name, std::int64_t& accepted) {
    bool willReport = false;
    // A registration whose answer was lost has happened, so the second one is of another account.
    const auto outcome = outcomeOf(steps_.named(name), willReport);
    if (willReport) ++accepted;
    isOver_ = outcome != done;
    // To look for the user would make the place for it, which a sign-in has to do otherwise.
    const auto user = name == "credentials" ? "" : hostsLoop().userWhenSettled();
    return {{"outcome", outcome},
            {"user", user},
            {"told", hostsLoop().toldUser().value_or(user)},
            {"status", keychainStatus().lastError()}};
  }
  std::string outcomeOf(const Step& step, bool& willReport);

  LifeSteps steps_;
  const bool repeats_;
  bool isOver_ = false;  // a step has failed
  Array results_;
};

// The host's own allocations are spared, the library's on this thread are not.
class Exposed {
 public:
  explicit Exposed(std::optional<Spared>& spared) : spared_(spared) { spared_.reset(); }
  Exposed(const Exposed&) = delete;
  Exposed& operator=(const Exposed&) = delete;
  ~Exposed() { spared_.emplace(); }

 private:
  std::optional<Spared>& spared_;
};

std::optional<Spared> hostIsSpared;

std::string HostLife::outcomeOf(const Step& step, bool& willReport) {
  try {
    const Exposed library(hostIsSpared);
    willReport = step();
  } catch (const std::bad_alloc&) {
    return "std::bad_alloc";
  } catch (const std::exception& reason) {
    return std::string("thrown: ") + reason.what();
  }
  return willReport ? steps_.reports->take() : done;
}

Array textOf(const Frames& frames) {
  Array lines;
  char** const names = backtrace_symbols(frames.addresses.data(), frames.count);
  for (int index = 0; names != nullptr && index < frames.count; ++index) {
    lines.push_back(std::string(names[index]));
  }
  std::free(names);
  return lines;
}

}  // namespace

Dictionary liveInTrouble(const Dictionary& request, const FaultPlan& plan) {
  hostIsSpared.emplace();
  // Vendors and the language say there how they die, and the answer goes elsewhere.
  const int nowhere = ::open("/dev/null", O_WRONLY | O_CLOEXEC);
  dup2(nowhere, STDOUT_FILENO);
  dup2(nowhere, STDERR_FILENO);
  HostLife life(request);
  if (plan.everywhere) {
    begin(plan);
  } else {
    beginAllocations({.at = plan.at,
                      .forEver = plan.forEver,
                      .onlyOfCxx = request["onlyOfCxx"].boolean().value_or(false)});
  }
  for (const auto& step : *request["steps"].array()) life.take(step.text().value());
  const auto counted = endAllocations();
  Array calls;
  for (const auto& name : end()) calls.push_back(name);
  const auto status = keychainStatus();
  return {{"steps", life.results()},
          {"counted", counted},
          {"calls", calls},
          {"user", hostsLoop().userWhenSettled()},
          {"status", status.lastError()},
          {"description", status.description()},
          {"failed", textOf(framesOfFailure())}};
}

}  // namespace orx::torture
