// SPDX-License-Identifier: MIT
#include "devserver/Membership.h"

#include <algorithm>
#include <string_view>

#include "devserver/ResultTexts.h"
#include "devserver/Secrets.h"
#include "devserver/UserRecord.h"

namespace orx::devserver {
namespace {

constexpr std::size_t kShortestPassword = 8;
constexpr std::size_t kLongestPassword = 25;
constexpr std::size_t kTicketBytes = 24;

bool isLetterOrDigit(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9');
}

// Letters beyond ASCII are allowed on both sides of the "@".
bool isAddressCharacter(char c) {
  constexpr std::string_view others = "!#$%&'*+-/=?^_`{|}~";
  return isLetterOrDigit(c) || static_cast<unsigned char>(c) >= 0x80 ||
         others.find(c) != std::string_view::npos;
}

bool isDomainCharacter(char c) {
  return isLetterOrDigit(c) || c == '-' || static_cast<unsigned char>(c) >= 0x80;
}

// Parts between dots, each of at least one character.
template <typename Allowed>
std::size_t countParts(std::string_view text, Allowed allowed) {
  std::size_t parts = 0;
  while (true) {
    const std::size_t dot = std::min(text.find('.'), text.size());
    const std::string_view part = text.substr(0, dot);
    if (part.empty() || !std::all_of(part.begin(), part.end(), allowed)) return 0;
    ++parts;
    if (dot == text.size()) return parts;
    text.remove_prefix(dot + 1);
  }
}

bool isEMailAddress(std::string_view text) {
  const std::size_t at = text.rfind('@');
  return at != std::string_view::npos && countParts(text.substr(0, at), isAddressCharacter) > 0 &&
         countParts(text.substr(at + 1), isDomainCharacter) > 1;
}

// A login has no colon: "type:uid" is the login of a linked identity.
bool isLogin(std::string_view text) {
  return !text.empty() && std::none_of(text.begin(), text.end(), [](unsigned char c) {
    return c <= ' ' || c == ':' || c == 0x7F;
  });
}

bool isPassword(std::string_view text) {
  const auto characters = static_cast<std::size_t>(
      std::count_if(text.begin(), text.end(), [](char c) { return (c & 0xC0) != 0x80; }));
  return characters >= kShortestPassword && characters <= kLongestPassword;
}

MembershipOutcome refuse(std::string_view reason) { return {std::nullopt, std::string(reason)}; }

MembershipOutcome orRefuse(std::optional<Account> account, std::string_view reason) {
  if (!account) return refuse(reason);
  return {std::move(account), {}};
}

OpenIDIdentity identityIn(const Parameters& parameters) {
  return {parameters.get("openid_type"), parameters.get("openid_uid")};
}

}  // namespace

MembershipOutcome Membership::registerAccount(const Parameters& parameters) {
  std::string login = parameters.get("login");
  std::string email = parameters.get("email");
  if (login.empty()) login = email;
  if (email.empty()) email = login;
  if (!isEMailAddress(email) || !isLogin(login)) return refuse(text::kEMailFormatError);
  const std::string password = parameters.get("passwd");
  if (!isPassword(password)) return refuse(text::kPasswordLength);
  Profile profile = profileFrom(parameters);
  profile["email"] = email;
  return orRefuse(accounts_.create(login, hashPassword(password), profile),
                  text::kAlreadyRegistered);
}

MembershipOutcome Membership::signIn(const Parameters& parameters) {
  std::optional<Account> account = accounts_.findByLogin(parameters.get("login"));
  if (!matchesPassword(parameters.get("passwd"), account ? account->passwordHash : "")) {
    account.reset();
  }
  return orRefuse(std::move(account), text::kPasswordError);
}

MembershipOutcome Membership::signInWithOpenID(const Parameters& parameters, Unknown unknown) {
  const OpenIDIdentity identity = identityIn(parameters);
  if (identity.type.empty() || identity.uid.empty()) return refuse(text::kOpenIDError);
  std::optional<Account> account = accounts_.findByIdentity(identity);
  if (account) return {std::move(account), {}};
  if (unknown == Unknown::Refuse) return refuse(text::kNotRegistered);
  MembershipOutcome created = registerOpenID(parameters);
  if (created.account || created.refusal != text::kAlreadyRegistered) return created;
  // Another call has linked the same identity meanwhile.
  return orRefuse(accounts_.findByIdentity(identity), text::kOpenIDError);
}

MembershipOutcome Membership::registerOpenID(const Parameters& parameters) {
  const OpenIDIdentity identity = identityIn(parameters);
  if (identity.type.empty() || identity.uid.empty()) return refuse(text::kOpenIDError);
  const std::string email = parameters.get("email");
  if (!email.empty() && !isEMailAddress(email)) return refuse(text::kEMailFormatError);
  return orRefuse(accounts_.createLinked(identity, profileFrom(parameters)),
                  text::kAlreadyRegistered);
}

std::string Membership::issueTicket(const Account& account) {
  std::string ticket = randomToken(kTicketBytes);
  accounts_.addTicket(account.number, ticket);
  return ticket;
}

}  // namespace orx::devserver
