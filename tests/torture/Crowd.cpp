// SPDX-License-Identifier: MIT
#include "torture/Crowd.h"

#include <ORXAccount/ORVAAccountUser.h>
#include <ORXAccount/ORVAAccountUserCache.h>
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <mutex>
#include <random>
#include <stdexcept>
#include <thread>

namespace orx::torture {

namespace {

using Clock = std::chrono::steady_clock;
using Counter = std::atomic<std::uint64_t>;
static_assert(Counter::is_always_lock_free);

class Counters {
 public:
  explicit Counters(const std::string& path) {
    const int file = ::open(path.c_str(), O_RDWR | O_CLOEXEC);
    struct stat state {};
    if (file < 0 || fstat(file, &state) != 0) throw std::runtime_error("no counters: " + path);
    size_ = static_cast<std::size_t>(state.st_size);
    memory_ = mmap(nullptr, size_, PROT_READ | PROT_WRITE, MAP_SHARED, file, 0);
    ::close(file);
    if (memory_ == MAP_FAILED) throw std::runtime_error("cannot share " + path);
  }
  Counters(const Counters&) = delete;
  Counters& operator=(const Counters&) = delete;
  ~Counters() { munmap(memory_, size_); }

  std::size_t count() const { return size_ / sizeof(Counter); }
  Counter& at(std::size_t index) const { return static_cast<Counter*>(memory_)[index]; }

 private:
  std::size_t size_ = 0;
  void* memory_ = nullptr;
};

// Every field holds the same text, so that a record mixed from two users is recognised.
std::shared_ptr<ORVAAccountUser> userOf(std::size_t slot, std::uint64_t number) {
  const auto login = std::to_string(slot) + ":" + std::to_string(number);
  return ORVAAccountUser::initWithUserInfo(
      Dictionary{{"login", login}, {"email", login}, {"ticket", login}, {"nick_name", login}});
}

class Crowd {
 public:
  explicit Crowd(const CrowdTask& task) : task_(task), counters_(task.counters) {}

  Dictionary join() {
    std::vector<std::thread> threads;
    threads.reserve(static_cast<std::size_t>(task_.threads));
    for (int thread = 0; thread < task_.threads; ++thread) {
      threads.emplace_back([this, thread] { run(static_cast<std::size_t>(thread)); });
    }
    for (auto& thread : threads) thread.join();
    return {{"signIns", signIns_.load()},
            {"signOuts", signOuts_.load()},
            {"reads", reads_.load()},
            {"seen", seen_.load()},
            {"complaints", complaints_}};
  }

 private:
  void run(std::size_t thread) {
    const auto slot = static_cast<std::size_t>(task_.process * task_.threads) + thread;
    std::mt19937 random(static_cast<unsigned>(slot) ^ std::random_device{}());
    const auto end = Clock::now() + std::chrono::duration<double>(task_.seconds);
    while (Clock::now() < end) {
      const auto choice = random() % 10;
      if (choice < 3) {
        signIn(slot, choice == 0);
      } else if (choice == 3) {
        cache_->setCachedUser(nullptr);
        ++signOuts_;
      } else if (choice == 4) {
        ORVAAccountUser::setCurrentUser(cache_->userToRestore().value_or(nullptr));
      } else {
        look();
      }
    }
  }

  void signIn(std::size_t slot, bool asCurrentUser) {
    const auto user = userOf(slot, ++counters_.at(slot));
    if (asCurrentUser) {
      ORVAAccountUser::setCurrentUser(user);
    } else {
      cache_->setCachedUser(user);
    }
    ++signIns_;
  }

  void look() {
    ++reads_;
    const auto user = cache_->cachedUser();
    if (!user) return;
    ++seen_;
    const auto login = user->login().value_or("(none)");
    std::size_t slot = 0;
    unsigned long long number = 0;
    if (std::sscanf(login.c_str(), "%zu:%llu", &slot, &number) != 2 || slot >= counters_.count() ||
        !user->isEqualToUser(userOf(slot, number).get())) {
      complain("a torn user: " + login);
    } else if (number > counters_.at(slot)) {
      complain("a user that nobody has set: " + login);
    }
  }

  void complain(const std::string& what) {
    const std::lock_guard guard(mutex_);
    complaints_.push_back(what);
  }

  CrowdTask task_;
  Counters counters_;
  std::shared_ptr<ORVAAccountUserCache> cache_ = ORVAAccountUserCache::sharedInstance();
  std::atomic<std::int64_t> signIns_ = 0;
  std::atomic<std::int64_t> signOuts_ = 0;
  std::atomic<std::int64_t> reads_ = 0;
  std::atomic<std::int64_t> seen_ = 0;
  std::mutex mutex_;
  Array complaints_;
};

}  // namespace

Dictionary joinCrowd(const CrowdTask& task) { return Crowd(task).join(); }

}  // namespace orx::torture
