// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>

namespace orx::devserver {

// Field name to text, under the service's own field names.
using Profile = std::map<std::string, std::string>;

struct Account {
  std::int64_t number = 0;
  std::string login;
  // A result of hashPassword; empty for an account that only an OpenID identity opens.
  std::string passwordHash;
  Profile profile;

  // "C" and eight digits or more.
  std::string customerID() const;
};

// An identity at another provider; both parts are compared exactly.
struct OpenIDIdentity {
  std::string type;
  std::string uid;
};

// The accounts, their identities and their tickets, in an SQLite database: a file's content
// survives a restart. Any thread may call; the calls are serialised. Every operation throws
// std::runtime_error when the database fails.
class AccountStore {
 public:
  // An empty path keeps everything in memory. A file that is missing is made.
  explicit AccountStore(const std::string& path);
  AccountStore(const AccountStore&) = delete;
  AccountStore& operator=(const AccountStore&) = delete;
  ~AccountStore();

  // Absent when the login is taken; letter case of ASCII letters makes no difference.
  std::optional<Account> create(const std::string& login, const std::string& passwordHash,
                                const Profile& profile);
  // An account whose login is "type:uid"; absent when the identity is linked already.
  std::optional<Account> createLinked(const OpenIDIdentity& identity, const Profile& profile);

  std::optional<Account> findByLogin(const std::string& login);
  std::optional<Account> findByIdentity(const OpenIDIdentity& identity);
  std::optional<Account> findByTicket(const std::string& ticket);
  std::optional<Account> findByNumber(std::int64_t number);

  // Tickets last as long as the account.
  void addTicket(std::int64_t number, const std::string& ticket);
  // Fields named here replace the account's; an empty text removes the field.
  void updateProfile(std::int64_t number, const Profile& changes);
  // Removes everything; the next account has the first number.
  void clear();

 private:
  class Database;
  std::unique_ptr<Database> database_;
};

}  // namespace orx::devserver
