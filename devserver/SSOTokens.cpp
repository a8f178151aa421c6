// SPDX-License-Identifier: MIT
#include "devserver/SSOTokens.h"

#include "devserver/Secrets.h"

namespace orx::devserver {
namespace {

constexpr std::size_t kTokenBytes = 24;

}  // namespace

std::string SSOTokens::issue(std::int64_t account) {
  std::string token = randomToken(kTokenBytes);
  const auto now = std::chrono::steady_clock::now();
  const std::lock_guard lock(mutex_);
  std::erase_if(entries_, [now](const auto& item) { return item.second.expires <= now; });
  entries_.emplace(token, Entry{account, now + lifetime_});
  return token;
}

std::optional<std::int64_t> SSOTokens::redeem(const std::string& token) {
  const auto now = std::chrono::steady_clock::now();
  const std::lock_guard lock(mutex_);
  const auto found = entries_.find(token);
  if (found == entries_.end()) return std::nullopt;
  const Entry entry = found->second;
  entries_.erase(found);
  if (entry.expires <= now) return std::nullopt;
  return entry.account;
}

void SSOTokens::clear() {
  const std::lock_guard lock(mutex_);
  entries_.clear();
}

}  // namespace orx::devserver
