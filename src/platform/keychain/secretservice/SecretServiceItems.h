#pragma once

#include "platform/keychain/PromptRules.h"
#include "platform/keychain/secretservice/SecretServiceConnection.h"

namespace orx::platform {

// The item that a store means, among all that the service keeps: the ones with its two attributes,
// except those that another program gave a type of its own. Throws SecretServiceFailures.
class SecretServiceItems {
 public:
  SecretServiceItems(SecretServiceConnection& connection, SecretServiceCall& call,
                     const PromptRules& rules, const KeychainItem& item);

  // Absent when there is none; a Damaged failure when there is one without our content.
  std::optional<Data> read();
  // False when there is one already.
  bool create(const Data& bytes);
  // False when there is none.
  bool replace(const Data& bytes);
  // Removes every one. False when there is none.
  bool remove();

 private:
  using Path = SecretServiceConnection::Path;

  // Unlocked, the newest first.
  std::vector<Path> find();
  std::vector<Path> findUnlocked();
  SecretServiceConnection::Found searchIncludingLockedKeyring();
  std::optional<std::uint64_t> ageOf(const Path& path);
  void unlock(const std::vector<Path>& objects);
  Path prompt(const Path& prompt);
  Path collection();
  std::optional<Data> contentOf(const Path& path);
  void requireKept(const Path& path, const Data& bytes);
  void requireGone(const std::vector<Path>& paths);
  void erase(const Path& path);
  template <typename Step>
  auto withoutVanishing(const Step& step) -> decltype(step());

  SecretServiceConnection& connection_;
  SecretServiceCall& call_;
  const PromptRules& rules_;
  const KeychainItem& item_;
  SecretServiceConnection::Attributes attributes_;
  // When the last of the operation's prompts is taken back; absent before the first.
  std::optional<Deadline> promptsEnd_;
};

// A text as an attribute: unchanged, or escaped where the bus could not carry it (a zero byte,
// bytes that are not UTF-8). Different texts give different attributes.
std::string attributeText(std::string_view text);

}  // namespace orx::platform
