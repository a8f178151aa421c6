// SPDX-License-Identifier: MIT
#include "devserver/AccountStore.h"

#include <sqlite3.h>

#include <cstdio>
#include <mutex>
#include <stdexcept>
#include <string_view>

#include "devserver/Names.h"
#include "devserver/PrivateFile.h"

namespace orx::devserver {
namespace {

// login_key is what makes an account unique: the lower-cased login, or the key of an identity,
// which no login equals because logins have no colon.
constexpr const char* kSchema = R"sql(
  PRAGMA foreign_keys = ON;
  CREATE TABLE IF NOT EXISTS account (
    number INTEGER PRIMARY KEY AUTOINCREMENT,
    login TEXT NOT NULL,
    login_key TEXT NOT NULL UNIQUE,
    password TEXT NOT NULL);
  CREATE TABLE IF NOT EXISTS field (
    account INTEGER NOT NULL REFERENCES account (number),
    name TEXT NOT NULL,
    value TEXT NOT NULL,
    PRIMARY KEY (account, name)) WITHOUT ROWID;
  CREATE TABLE IF NOT EXISTS ticket (
    ticket TEXT PRIMARY KEY,
    account INTEGER NOT NULL REFERENCES account (number)) WITHOUT ROWID;
  INSERT INTO sqlite_sequence (name, seq)
    SELECT 'account', 1000 WHERE NOT EXISTS (SELECT 1 FROM sqlite_sequence WHERE name = 'account');
)sql";
// The first account is number 1001.
constexpr const char* kClear = R"sql(
  DELETE FROM ticket;
  DELETE FROM field;
  DELETE FROM account;
  UPDATE sqlite_sequence SET seq = 1000 WHERE name = 'account';
)sql";
constexpr int kBusyMilliseconds = 2000;

std::string loginOf(const OpenIDIdentity& identity) { return identity.type + ":" + identity.uid; }

// The type without a colon: ("a", "b:c") and ("a:b", "c") would have one key otherwise.
std::string keyOf(const OpenIDIdentity& identity) {
  std::string key;
  for (const char c : identity.type) {
    if (c == ':') {
      key += "%3a";
    } else if (c == '%') {
      key += "%25";
    } else {
      key += c;
    }
  }
  return key + ":" + identity.uid;
}

}  // namespace

std::string Account::customerID() const {
  char text[32];
  std::snprintf(text, sizeof text, "C%08lld", static_cast<long long>(number));
  return text;
}

class AccountStore::Database {
 public:
  class Statement;

  explicit Database(const std::string& path) {
    const std::string place =
        path.empty() ? ":memory:" : makePrivateFile(path, "SQLite format 3").string();
    // SQLite looks for links in the whole path; those among its folders are resolved by now.
    const int opened =
        sqlite3_open_v2(place.c_str(), &handle_,
                        SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_NOFOLLOW, nullptr);
    if (opened != SQLITE_OK) fail();
    sqlite3_busy_timeout(handle_, kBusyMilliseconds);
    execute(kSchema);
  }
  ~Database() { sqlite3_close(handle_); }
  Database(const Database&) = delete;
  Database& operator=(const Database&) = delete;

  void execute(const char* sql) {
    if (sqlite3_exec(handle_, sql, nullptr, nullptr, nullptr) != SQLITE_OK) fail();
  }

  [[noreturn]] void fail() {
    const std::string reason = sqlite3_errmsg(handle_);
    // Close here: the destructor does not run when the constructor throws.
    if (!ready_) sqlite3_close(handle_);
    throw std::runtime_error("account database: " + reason);
  }
  void markReady() { ready_ = true; }

  sqlite3* handle() { return handle_; }
  std::mutex& mutex() { return mutex_; }

  std::optional<Account> insert(const std::string& login, const std::string& key,
                                const std::string& passwordHash, const Profile& profile);
  std::optional<Account> find(const char* condition, std::string_view text);
  std::optional<Account> find(std::int64_t number);
  void write(std::int64_t number, const Profile& changes);

 private:
  std::optional<Account> read(Statement& statement);

  sqlite3* handle_ = nullptr;
  bool ready_ = false;
  std::mutex mutex_;
};

class AccountStore::Database::Statement {
 public:
  Statement(Database& database, const std::string& sql) : database_(database) {
    if (sqlite3_prepare_v2(database.handle(), sql.c_str(), -1, &handle_, nullptr) != SQLITE_OK) {
      database.fail();
    }
  }
  ~Statement() { sqlite3_finalize(handle_); }
  Statement(const Statement&) = delete;
  Statement& operator=(const Statement&) = delete;

  Statement& bind(std::string_view text) {
    check(sqlite3_bind_text(handle_, ++bound_, text.data(), static_cast<int>(text.size()),
                            SQLITE_TRANSIENT));
    return *this;
  }
  Statement& bind(std::int64_t number) {
    check(sqlite3_bind_int64(handle_, ++bound_, number));
    return *this;
  }
  // Whether there is a row.
  bool step() {
    const int result = sqlite3_step(handle_);
    if (result != SQLITE_ROW && result != SQLITE_DONE) database_.fail();
    return result == SQLITE_ROW;
  }
  // False when a row of the same key exists.
  bool insert() {
    if (sqlite3_step(handle_) == SQLITE_DONE) return true;
    if (sqlite3_errcode(database_.handle()) != SQLITE_CONSTRAINT) database_.fail();
    return false;
  }
  std::string text(int column) {
    const auto* bytes = reinterpret_cast<const char*>(sqlite3_column_text(handle_, column));
    const auto size = static_cast<std::size_t>(sqlite3_column_bytes(handle_, column));
    return bytes == nullptr ? std::string() : std::string(bytes, size);
  }
  std::int64_t number(int column) { return sqlite3_column_int64(handle_, column); }

 private:
  void check(int result) {
    if (result != SQLITE_OK) database_.fail();
  }

  Database& database_;
  sqlite3_stmt* handle_ = nullptr;
  int bound_ = 0;
};

namespace {

// A transaction that is rolled back unless it was committed.
template <typename Database>
class Transaction {
 public:
  explicit Transaction(Database& database) : database_(database) {
    database_.execute("BEGIN IMMEDIATE");
  }
  ~Transaction() {
    if (!done_) sqlite3_exec(database_.handle(), "ROLLBACK", nullptr, nullptr, nullptr);
  }
  Transaction(const Transaction&) = delete;
  Transaction& operator=(const Transaction&) = delete;
  void commit() {
    database_.execute("COMMIT");
    done_ = true;
  }

 private:
  Database& database_;
  bool done_ = false;
};

}  // namespace

std::optional<Account> AccountStore::Database::read(Statement& statement) {
  if (!statement.step()) return std::nullopt;
  Account account{statement.number(0), statement.text(1), statement.text(2), {}};
  Statement fields(*this, "SELECT name, value FROM field WHERE account = ?");
  fields.bind(account.number);
  while (fields.step()) account.profile.emplace(fields.text(0), fields.text(1));
  return account;
}

std::optional<Account> AccountStore::Database::find(const char* condition, std::string_view text) {
  Statement statement(
      *this, std::string("SELECT number, login, password FROM account WHERE ") + condition);
  return read(statement.bind(text));
}

std::optional<Account> AccountStore::Database::find(std::int64_t number) {
  Statement statement(*this, "SELECT number, login, password FROM account WHERE number = ?");
  return read(statement.bind(number));
}

void AccountStore::Database::write(std::int64_t number, const Profile& changes) {
  for (const auto& [name, value] : changes) {
    if (value.empty()) {
      Statement(*this, "DELETE FROM field WHERE account = ? AND name = ?")
          .bind(number)
          .bind(name)
          .step();
    } else {
      Statement(*this, "INSERT OR REPLACE INTO field VALUES (?, ?, ?)")
          .bind(number)
          .bind(name)
          .bind(value)
          .step();
    }
  }
}

std::optional<Account> AccountStore::Database::insert(const std::string& login,
                                                      const std::string& key,
                                                      const std::string& passwordHash,
                                                      const Profile& profile) {
  const std::lock_guard lock(mutex_);
  Transaction transaction(*this);
  Statement statement(*this, "INSERT INTO account (login, login_key, password) VALUES (?, ?, ?)");
  if (!statement.bind(login).bind(key).bind(passwordHash).insert()) return std::nullopt;
  const std::int64_t number = sqlite3_last_insert_rowid(handle_);
  write(number, profile);
  transaction.commit();
  return find(number);
}

AccountStore::AccountStore(const std::string& path) : database_(std::make_unique<Database>(path)) {
  database_->markReady();
}

AccountStore::~AccountStore() = default;

std::optional<Account> AccountStore::create(const std::string& login,
                                            const std::string& passwordHash,
                                            const Profile& profile) {
  return database_->insert(login, lowerCased(login), passwordHash, profile);
}

std::optional<Account> AccountStore::createLinked(const OpenIDIdentity& identity,
                                                  const Profile& profile) {
  return database_->insert(loginOf(identity), keyOf(identity), "", profile);
}

std::optional<Account> AccountStore::findByLogin(const std::string& login) {
  const std::lock_guard lock(database_->mutex());
  return database_->find("login_key = ?", lowerCased(login));
}

std::optional<Account> AccountStore::findByIdentity(const OpenIDIdentity& identity) {
  const std::lock_guard lock(database_->mutex());
  return database_->find("login_key = ?", keyOf(identity));
}

std::optional<Account> AccountStore::findByTicket(const std::string& ticket) {
  const std::lock_guard lock(database_->mutex());
  return database_->find("number = (SELECT account FROM ticket WHERE ticket = ?)", ticket);
}

std::optional<Account> AccountStore::findByNumber(std::int64_t number) {
  const std::lock_guard lock(database_->mutex());
  return database_->find(number);
}

void AccountStore::addTicket(std::int64_t number, const std::string& ticket) {
  const std::lock_guard lock(database_->mutex());
  Database::Statement(*database_, "INSERT INTO ticket VALUES (?, ?)")
      .bind(ticket)
      .bind(number)
      .step();
}

void AccountStore::updateProfile(std::int64_t number, const Profile& changes) {
  const std::lock_guard lock(database_->mutex());
  Transaction transaction(*database_);
  database_->write(number, changes);
  transaction.commit();
}

void AccountStore::clear() {
  const std::lock_guard lock(database_->mutex());
  Transaction transaction(*database_);
  database_->execute(kClear);
  transaction.commit();
}

}  // namespace orx::devserver
