// SPDX-License-Identifier: MIT
#pragma once

#include <chrono>
#include <cstdint>
#include <map>
#include <mutex>
#include <optional>
#include <string>

namespace orx::devserver {

// Tokens of web single sign-on. Each can be used once and expires soon; a restart loses them. Any
// thread may call.
class SSOTokens {
 public:
  explicit SSOTokens(std::chrono::seconds lifetime = std::chrono::minutes(5))
      : lifetime_(lifetime) {}

  std::string issue(std::int64_t account);
  // The account that the token was issued for; absent when it is unknown, used or too old.
  std::optional<std::int64_t> redeem(const std::string& token);
  void clear();

 private:
  struct Entry {
    std::int64_t account;
    std::chrono::steady_clock::time_point expires;
  };
  std::chrono::seconds lifetime_;
  std::mutex mutex_;
  std::map<std::string, Entry> entries_;
};

}  // namespace orx::devserver
