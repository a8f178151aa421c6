// SPDX-License-Identifier: MIT
#include "devserver/SeedAccounts.h"

#include <algorithm>
#include <array>
#include <map>
#include <stdexcept>

#include "devserver/JSONInput.h"
#include "devserver/UserRecord.h"

namespace orx::devserver {
namespace {

constexpr std::array<std::string_view, 5> kOwnFields = {"login", "passwd", "openid_type",
                                                        "openid_uid", "ticket"};

[[noreturn]] void refuse(std::size_t index, const std::string& reason) {
  throw std::invalid_argument("account " + std::to_string(index + 1) + ": " + reason);
}

Parameters readAccount(std::size_t index, const nlohmann::json& account) {
  if (!account.is_object()) refuse(index, "this is no object");
  for (const auto& [name, value] : account.items()) {
    const bool known = isProfileField(name) ||
                       std::find(kOwnFields.begin(), kOwnFields.end(), name) != kOwnFields.end();
    if (!known) refuse(index, "\"" + name + "\" is no field of an account");
    if (!value.is_string()) refuse(index, "\"" + name + "\" takes text");
  }
  const auto parameters = Parameters::parse(account.dump());
  if (parameters->has("openid_type") && parameters->has("passwd")) {
    refuse(index, "it has a password or an identity, not both");
  }
  return *parameters;
}

std::optional<Account> find(AccountStore& accounts, const Parameters& parameters) {
  if (parameters.has("openid_type")) {
    return accounts.findByIdentity({parameters.get("openid_type"), parameters.get("openid_uid")});
  }
  return accounts.findByLogin(parameters.get(parameters.has("login") ? "login" : "email"));
}

// The account of these parameters, made when it is not there.
Account add(std::size_t index, AccountStore& accounts, const Parameters& parameters) {
  if (auto present = find(accounts, parameters)) return *std::move(present);
  Membership membership(accounts);
  auto outcome = parameters.has("openid_type") ? membership.registerOpenID(parameters)
                                               : membership.registerAccount(parameters);
  if (!outcome.account) refuse(index, outcome.refusal);
  return *std::move(outcome.account);
}

void addTicket(std::size_t index, AccountStore& accounts, const Account& account,
               const std::string& ticket) {
  const auto owner = accounts.findByTicket(ticket);
  if (owner && owner->number != account.number) refuse(index, "its ticket is another account's");
  if (!owner) accounts.addTicket(account.number, ticket);
}

}  // namespace

SeedAccounts::SeedAccounts(std::string_view json) {
  for (const auto& account : parseArray(json, "accounts")) {
    accounts_.push_back(readAccount(accounts_.size(), account));
  }
}

void SeedAccounts::addTo(AccountStore& accounts) const {
  std::map<std::int64_t, std::size_t> added;
  for (std::size_t index = 0; index < accounts_.size(); ++index) {
    const Parameters& parameters = accounts_[index];
    const Account account = add(index, accounts, parameters);
    const auto [first, isNew] = added.emplace(account.number, index);
    if (!isNew) refuse(index, "it is account " + std::to_string(first->second + 1) + " again");
    const std::string ticket = parameters.get("ticket");
    if (!ticket.empty()) addTicket(index, accounts, account, ticket);
  }
}

}  // namespace orx::devserver
