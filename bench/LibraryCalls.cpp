// SPDX-License-Identifier: MIT
#include "LibraryCalls.h"

#include <ORXAccount/ORVAAccountConstants.h>

#include <atomic>
#include <deque>
#include <stdexcept>

#include "Contestant.h"
#include "Measure.h"

namespace orx::bench {
namespace {

// A chain of calls: the callback of one starts the next, so only one thread at a time uses the
// members, and no lock is needed.
class Chain {
 public:
  Chain(const StartCall& start, std::atomic<std::size_t>& started, std::size_t calls,
        Outstanding& chains)
      : start_(start), started_(started), calls_(calls), chains_(chains) {}

  void next() {
    if (!error_.empty() || started_++ >= calls_) {
      chains_.remove();
      return;
    }
    begin_ = Clock::now();
    start_([this](const std::shared_ptr<ORVAAccountAPIResult>& result,
                  const std::shared_ptr<Error>& error) {
      times_.push_back(microsecondsSince(begin_));
      if (!result) error_ = error->localizedDescription();
      next();
    });
  }

  const std::vector<double>& times() const { return times_; }
  const std::string& error() const { return error_; }

 private:
  const StartCall& start_;
  std::atomic<std::size_t>& started_;
  const std::size_t calls_;
  Outstanding& chains_;
  Clock::time_point begin_;
  std::vector<double> times_;
  std::string error_;
};

class LibraryContestant final : public Contestant {
 public:
  explicit LibraryContestant(StartCall start) : start_(std::move(start)) {}

  std::vector<double> run(std::size_t inFlight, std::size_t calls) override {
    return makeLibraryCalls(start_, inFlight, calls);
  }

 private:
  const StartCall start_;
};

}  // namespace

std::shared_ptr<ORVAAccountAPI> benchAPI() {
  static const auto& api = *new std::shared_ptr<ORVAAccountAPI>(ORVAAccountAPI::initWithOptions(
      {{std::string(kORVAAccountAppID), "bench"}, {std::string(kORVAAccountAppKey), "secret"}}));
  return api;
}

const Dictionary& benchParameters() {
  static const Dictionary parameters{{"login", "ann@example.com"}, {"password", "correct horse"}};
  return parameters;
}

StartCall commonCall() {
  return [](ORVAAccountAPICompletionHandler handler) {
    benchAPI()->commonWithApiId_parameters_completionHandler("w000000012", benchParameters(),
                                                             std::move(handler));
  };
}

StartCall loginCall() {
  return [](ORVAAccountAPICompletionHandler handler) {
    benchAPI()->login_completionHandler(benchParameters(), std::move(handler));
  };
}

void Outstanding::add() {
  const std::lock_guard lock(mutex_);
  ++count_;
}

void Outstanding::remove() {
  const std::lock_guard lock(mutex_);
  if (--count_ == 0) none_.notify_all();
}

void Outstanding::waitForAll() {
  std::unique_lock lock(mutex_);
  none_.wait(lock, [this] { return count_ == 0; });
}

std::vector<double> makeLibraryCalls(const StartCall& start, std::size_t inFlight,
                                     std::size_t calls) {
  std::atomic<std::size_t> started{0};
  Outstanding outstanding;
  std::deque<Chain> chains;
  for (std::size_t index = 0; index < inFlight; ++index) {
    chains.emplace_back(start, started, calls, outstanding);
    outstanding.add();
  }
  for (auto& chain : chains) chain.next();
  outstanding.waitForAll();

  std::vector<double> times;
  times.reserve(calls);
  for (const auto& chain : chains) {
    if (!chain.error().empty()) throw std::runtime_error(chain.error());
    times.insert(times.end(), chain.times().begin(), chain.times().end());
  }
  return times;
}

std::unique_ptr<Contestant> commonCalls() {
  return std::make_unique<LibraryContestant>(commonCall());
}

std::unique_ptr<Contestant> logins() { return std::make_unique<LibraryContestant>(loginCall()); }

}  // namespace orx::bench
