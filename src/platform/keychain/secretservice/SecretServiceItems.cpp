#include "platform/keychain/secretservice/SecretServiceItems.h"

#include <algorithm>

#include "platform/base/Base64.h"
#include "platform/base/Unicode.h"
#include "platform/keychain/KeychainItemFormat.h"
#include "platform/storage/StandardPaths.h"

namespace orx::platform {

namespace {

using Kind = SecretServiceFailure::Kind;

// The attribute in which programs name the type of what they store, and its value for items
// without a type of their own (services put it there themselves).
constexpr const char* schemaAttribute = "xdg:schema";
constexpr std::string_view plainSchema = "org.freedesktop.Secret.Generic";

// How often a search starts again because items went while they were looked at.
constexpr int searches = 4;

SecretServiceFailure failure(Kind kind) { return {kind, {}}; }

}  // namespace

std::string attributeText(std::string_view text) {
  constexpr std::string_view mark = "%:";
  const bool plain = isValidUTF8(text) && text.find('\0') == std::string_view::npos;
  if (plain && !text.starts_with(mark)) return std::string(text);
  return std::string(mark) + pathComponent(text);
}

SecretServiceItems::SecretServiceItems(SecretServiceConnection& connection, SecretServiceCall& call,
                                       const PromptRules& rules, const KeychainItem& item)
    : connection_(connection), call_(call), rules_(rules), item_(item) {
  attributes_["service"] = attributeText(item.service);
  attributes_["account"] = attributeText(item.account);
}

// Runs the step again when somebody else removed an item between its being found and being used.
template <typename Step>
auto SecretServiceItems::withoutVanishing(const Step& step) -> decltype(step()) {
  for (int search = 1;; ++search) {
    try {
      return step();
    } catch (const SecretServiceFailure& failure) {
      if (failure.kind != Kind::Vanished || search == searches) throw;
    }
  }
}

SecretServiceItems::Path SecretServiceItems::prompt(const Path& prompt) {
  switch (rules_.mayPrompt()) {
    case PromptRules::Answer::Forbidden:
      throw failure(Kind::Locked);
    case PromptRules::Answer::DismissedBefore:
      throw failure(Kind::DismissedBefore);
    case PromptRules::Answer::Allowed:
      break;
  }
  if (!promptsEnd_) promptsEnd_ = std::chrono::steady_clock::now() + rules_.patience;
  call_.extend(*promptsEnd_ + rules_.patienceAfterwards);
  try {
    auto path = connection_.prompt(prompt, *promptsEnd_);
    call_.extend(std::chrono::steady_clock::now() + rules_.patienceAfterwards);
    return path;
  } catch (const SecretServiceFailure& failure) {
    const bool dismissed = failure.kind == Kind::Dismissed || failure.kind == Kind::Unanswered;
    if (dismissed) rules_.noteDismissed();
    throw;
  }
}

void SecretServiceItems::unlock(const std::vector<Path>& objects) {
  const auto reply = connection_.unlock(objects);
  if (!reply.prompt.empty()) prompt(reply.prompt);
}

// A locked keyring may hide its items, so that an empty answer does not mean that there are none:
// it is unlocked and searched again.
SecretServiceConnection::Found SecretServiceItems::searchIncludingLockedKeyring() {
  auto found = connection_.search(attributes_);
  if (!found.unlocked.empty() || !found.locked.empty()) return found;
  const auto keyring = connection_.defaultCollection();
  if (keyring.empty() || !connection_.isLocked(keyring)) return found;
  unlock({keyring});
  if (connection_.isLocked(keyring)) throw failure(Kind::Locked);
  return connection_.search(attributes_);
}

std::vector<SecretServiceItems::Path> SecretServiceItems::findUnlocked() {
  auto found = searchIncludingLockedKeyring();
  if (!found.locked.empty()) {
    unlock(found.locked);
    found = connection_.search(attributes_);
    if (!found.locked.empty()) throw failure(Kind::Locked);
  }
  return std::move(found.unlocked);
}

// When the item was last changed; absent for an item of another program.
std::optional<std::uint64_t> SecretServiceItems::ageOf(const Path& path) {
  const auto attributes = connection_.attributesOf(path);
  const auto schema = attributes.find(schemaAttribute);
  const bool foreign = schema != attributes.end() && schema->second != plainSchema;
  if (foreign) return std::nullopt;
  return connection_.modificationOf(path);
}

std::vector<SecretServiceItems::Path> SecretServiceItems::find() {
  return withoutVanishing([&] {
    std::vector<std::pair<std::uint64_t, Path>> items;
    for (auto& path : findUnlocked()) {
      if (const auto age = ageOf(path)) items.emplace_back(*age, std::move(path));
    }
    std::stable_sort(items.begin(), items.end(),
                     [](const auto& one, const auto& other) { return one.first > other.first; });
    std::vector<Path> paths;
    paths.reserve(items.size());
    for (auto& item : items) paths.push_back(std::move(item.second));
    return paths;
  });
}

std::optional<Data> SecretServiceItems::contentOf(const Path& path) {
  const auto secret = connection_.secretOf(path);
  if (secret.size() > limits::keyringSecretSize) return std::nullopt;
  const auto content = dataFromBase64(secret);
  return content ? decodedItem(item_, *content) : std::nullopt;
}

std::optional<Data> SecretServiceItems::read() {
  return withoutVanishing([&]() -> std::optional<Data> {
    const auto paths = find();
    for (const auto& path : paths) {
      if (auto content = contentOf(path)) return content;
    }
    if (!paths.empty()) throw failure(Kind::Damaged);
    return std::nullopt;
  });
}

SecretServiceItems::Path SecretServiceItems::collection() {
  auto path = connection_.defaultCollection();
  if (!path.empty()) {
    if (connection_.isLocked(path)) unlock({path});
    return path;
  }
  if (rules_.mayPrompt() != PromptRules::Answer::Allowed) throw failure(Kind::NoCollection);
  const auto reply = connection_.createDefaultCollection();
  path = reply.prompt.empty() ? reply.done.front() : prompt(reply.prompt);
  if (path.empty()) throw failure(Kind::NoCollection);
  return path;
}

bool SecretServiceItems::create(const Data& bytes) {
  if (!find().empty()) return false;
  const auto reply = connection_.createItem(collection(), attributes_["service"], attributes_,
                                            base64Of(encodedItem(item_, bytes)));
  const auto path = reply.prompt.empty() ? reply.done.front() : prompt(reply.prompt);
  if (path.empty()) throw failure(Kind::NotKept);
  requireKept(path, bytes);
  return true;
}

bool SecretServiceItems::replace(const Data& bytes) {
  return withoutVanishing([&] {
    const auto paths = find();
    if (paths.empty()) return false;
    connection_.setSecret(paths.front(), base64Of(encodedItem(item_, bytes)));
    requireKept(paths.front(), bytes);
    for (std::size_t index = 1; index < paths.size(); ++index) erase(paths[index]);
    return true;
  });
}

void SecretServiceItems::requireKept(const Path& path, const Data& bytes) {
  const auto kept = contentOf(path);
  if (!kept || kept->text() != bytes.text()) throw failure(Kind::NotKept);
}

void SecretServiceItems::requireGone(const std::vector<Path>& paths) {
  const auto left = connection_.search(attributes_);
  for (const auto* found : {&left.unlocked, &left.locked}) {
    for (const auto& path : *found) {
      const bool meant = std::find(paths.begin(), paths.end(), path) != paths.end();
      if (meant) throw failure(Kind::NotRemoved);
    }
  }
}

void SecretServiceItems::erase(const Path& path) {
  try {
    const auto reply = connection_.deleteItem(path);
    if (!reply.prompt.empty()) prompt(reply.prompt);
  } catch (const SecretServiceFailure& failure) {
    // Somebody else removed it at the same time.
    if (failure.kind != Kind::Vanished) throw;
  }
}

bool SecretServiceItems::remove() {
  auto paths = find();
  // The newest last: if the process dies in between, an older one must not become the newest.
  std::reverse(paths.begin(), paths.end());
  for (const auto& path : paths) erase(path);
  if (!paths.empty()) requireGone(paths);
  return !paths.empty();
}

}  // namespace orx::platform
