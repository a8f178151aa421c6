// SPDX-License-Identifier: MIT
#pragma once

#include <ORXAccount/ORVAAccountAPI.h>
#include <ORXAccount/ORVAAccountLoginManagerDelegate.h>
#include <ORXAccount/platform/Error.h>
#include <ORXAccount/platform/Value.h>

#include <condition_variable>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

namespace orx::torture {

inline constexpr const char* done = "done";

// What handlers report. It allocates nothing of what is counted.
class Reports {
 public:
  void put(const std::shared_ptr<Error>& error);
  // The error that is right from now on; "" where none is.
  void expect(std::string error);
  // Waits for a report: "done" where it is right, otherwise the error; "silent" where none comes.
  std::string take();
  std::int64_t count() const;

 private:
  mutable std::mutex mutex_;
  std::condition_variable arrived_;
  std::string expected_;
  std::optional<std::string> latest_;
  std::int64_t count_ = 0;
};

// Carries out a step, and says whether a report is to come.
using Step = std::function<bool()>;

// What a host can do in its life.
class LifeSteps {
 public:
  // The request has the accounts of the service.
  explicit LifeSteps(const Dictionary& request);
  Step named(const std::string& name);

  const std::shared_ptr<Reports> reports = std::make_shared<Reports>();

 private:
  Step signIn(const std::string& name) const;
  using Operation = std::function<void(ORVAAccountAPI&, ORVAAccountAPICompletionHandler)>;
  Step call(const std::string& name) const;
  Operation operationNamed(const std::string& name) const;
  Step loadPicture(const std::shared_ptr<ORVAAccountUser>& user) const;

  const std::string ticket_;
  const Dictionary password_;
  const Dictionary wrongPassword_;
  const Dictionary identity_;
  const std::shared_ptr<ORVAAccountLoginManagerDelegate> delegate_;
};

}  // namespace orx::torture
