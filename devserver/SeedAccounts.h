// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "devserver/Membership.h"

namespace orx::devserver {

// Accounts out of a JSON array of objects, whose fields are those of a registration, and `ticket`.
class SeedAccounts {
 public:
  SeedAccounts() = default;
  // Throws std::invalid_argument that names the account and its wrong field.
  explicit SeedAccounts(std::string_view json);

  // Adds those that are missing, by the rules of a registration. Throws std::invalid_argument that
  // names the account that these refuse, or that is there twice.
  void addTo(AccountStore& accounts) const;

 private:
  std::vector<Parameters> accounts_;
};

}  // namespace orx::devserver
