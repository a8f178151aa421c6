// SPDX-License-Identifier: MIT
#pragma once

#include <gio/gio.h>

#include <cstdint>
#include <functional>
#include <map>
#include <string>

#include "Script.h"

// A keyring of one collection in memory, with the interface of the Secret Service. A script can
// make it misbehave. Not safe for several threads at once.
class Keyring {
 public:
  // `items` is a file with one item a line: service, account, schema or "-", time of the last
  // change, secret with %XX for bytes, and optionally the number in the item's path.
  explicit Keyring(const std::string& items);

  struct Answer {
    GVariant* value = nullptr;  // floating
    std::string error;
    bool silent = false;
    // Set when a prompt has ended; `completed` are the arguments of its signal, floating.
    std::string promptPath = {};
    GVariant* completed = nullptr;
  };
  Answer call(const Script& script, const std::string& path, const std::string& method,
              GVariant* arguments);

 private:
  struct Item {
    std::map<std::string, std::string> attributes;
    std::uint64_t modified = 0;
    std::string secret;
  };
  using Handler = Answer (Keyring::*)(const Script&, const std::string&, GVariant*);
  static const std::map<std::string, Handler>& handlers();

  Answer answerTo(const Script& script, const std::string& path, const std::string& method,
                  GVariant* arguments);
  Answer openSession(const Script& script, const std::string& path, GVariant* arguments);
  Answer searchItems(const Script& script, const std::string& path, GVariant* arguments);
  Answer unlock(const Script& script, const std::string& path, GVariant* arguments);
  Answer readAlias(const Script& script, const std::string& path, GVariant* arguments);
  Answer createCollection(const Script& script, const std::string& path, GVariant* arguments);
  Answer createItem(const Script& script, const std::string& path, GVariant* arguments);
  Answer getSecret(const Script& script, const std::string& path, GVariant* arguments);
  Answer setSecret(const Script& script, const std::string& path, GVariant* arguments);
  Answer deleteItem(const Script& script, const std::string& path, GVariant* arguments);
  Answer getLocked(const Script& script, const std::string& path, GVariant* arguments);
  Answer getAttributes(const Script& script, const std::string& path, GVariant* arguments);
  Answer getModified(const Script& script, const std::string& path, GVariant* arguments);
  Answer prompt(const Script& script, const std::string& path, GVariant* arguments);
  Answer dismiss(const Script& script, const std::string& path, GVariant* arguments);

  bool isLocked(const Script& script) const;
  std::string createPrompt(std::function<GVariant*()> action);
  std::string insert(Item item);
  void load();
  void save();

  const std::string file_;
  std::map<std::string, Item> items_;
  std::map<std::string, std::function<GVariant*()>> prompts_;
  bool unlocked_ = false;
  bool defaultCreated_ = false;
  int number_ = 0;
  std::uint64_t clock_ = 1'700'000'000;
};
