// SPDX-License-Identifier: MIT
#include "platform/keychain/secretservice/SecretServiceItems.h"

#include <algorithm>

#include "platform/base/Base64.h"
#include "platform/base/Limits.h"
#include "platform/keychain/KeychainItemFormat.h"

namespace orx::platform {

namespace {

// How often a search starts again because items went while they were looked at.
constexpr int searches = 4;

// Runs the step again when somebody else removed an item between its being found and being used.
template <typename Step>
auto withoutVanishing(const Step& step) {
  for (int search = 1;; ++search) {
    try {
      return step();
    } catch (const SecretServiceFailure& failure) {
      if (failure.kind != failures::Vanished || search == searches) throw;
    }
  }
}

}  // namespace

// A locked keyring may hide its items, so that an empty answer does not mean that there are none:
// it is unlocked and searched again.
SecretServiceConnection::Found SecretServiceItems::searchIncludingLockedKeyring() {
  auto found = connection_.search(item_);
  if (!found.unlocked.empty() || !found.locked.empty()) return found;
  const auto keyring = connection_.defaultCollection();
  if (keyring.empty() || !connection_.isLocked(keyring)) return found;
  connection_.unlock({keyring});
  if (connection_.isLocked(keyring)) throw SecretServiceFailure{failures::Locked};
  return connection_.search(item_);
}

std::vector<SecretServiceItems::Path> SecretServiceItems::findUnlocked() {
  auto found = searchIncludingLockedKeyring();
  if (!found.locked.empty()) {
    connection_.unlock(found.locked);
    found = connection_.search(item_);
    if (!found.locked.empty()) throw SecretServiceFailure{failures::Locked};
  }
  return std::move(found.unlocked);
}

// Whether another program stored it, as something of its own. Services themselves give the generic
// type to items without one.
bool SecretServiceItems::isForeign(const Path& path) {
  const auto schema = connection_.schemaOf(path);
  return schema && *schema != "org.freedesktop.Secret.Generic";
}

// Unlocked, the newest first.
std::vector<SecretServiceItems::Path> SecretServiceItems::find() {
  return withoutVanishing([&] {
    auto paths = findUnlocked();
    std::erase_if(paths, [&](const Path& path) { return isForeign(path); });
    std::vector<std::pair<std::uint64_t, Path>> items;
    items.reserve(paths.size());
    for (auto& path : paths) items.emplace_back(connection_.modificationOf(path), std::move(path));
    // Of equal age, in the service's order.
    std::ranges::stable_sort(items, std::greater(), [](const auto& item) { return item.first; });
    std::ranges::transform(items, paths.begin(), [](auto& item) { return std::move(item.second); });
    return paths;
  });
}

// Absent when it is not what a store has written for this item.
std::optional<Data> SecretServiceItems::contentOf(const Path& path) {
  const Wiped<std::string> secret = connection_.secretOf(path);
  if (secret.size() > limits::keyringSecretSize) return std::nullopt;
  const auto content = dataFromBase64(secret);
  return content ? decodedItem(item_, *content) : std::nullopt;
}

Data SecretServiceItems::read() {
  return withoutVanishing([&] {
    const auto paths = find();
    for (const auto& path : paths) {
      if (auto content = contentOf(path)) return *content;
    }
    throw SecretServiceFailure{paths.empty() ? failures::NotFound : failures::Damaged};
  });
}

// One line of ASCII, because key managers show and copy secrets as text.
Wiped<std::string> SecretServiceItems::secretFor(const Data& bytes) const {
  // Base64 takes four characters for three bytes; the rest is room for the item's name.
  if (bytes.size() > limits::keyringSecretSize / 2) throw SecretServiceFailure{failures::TooLarge};
  return base64Of(encodedItem(item_, bytes));
}

// Where a new item goes: the default keyring, unlocked, and made where there is none.
SecretServiceItems::Path SecretServiceItems::collection() {
  auto path = connection_.defaultCollection();
  if (path.empty()) {
    path = connection_.createDefaultCollection();
    if (path.empty()) throw SecretServiceFailure{failures::NoCollection};
  } else if (connection_.isLocked(path)) {
    connection_.unlock({path});
  }
  return path;
}

void SecretServiceItems::add(const Data& bytes) {
  const auto secret = secretFor(bytes);
  if (!find().empty()) throw SecretServiceFailure{failures::Duplicate};
  const auto path = connection_.createItem(collection(), item_, secret);
  if (path.empty()) throw SecretServiceFailure{failures::NotKept};
  requireKept(path, bytes);
}

// False when there is none.
bool SecretServiceItems::replace(const Data& bytes) {
  const auto secret = secretFor(bytes);
  return withoutVanishing([&] {
    const auto paths = find();
    if (paths.empty()) return false;
    connection_.setSecret(paths.front(), secret);
    requireKept(paths.front(), bytes);
    // Only now: until the newest holds the bytes, an older one may be the only whole copy.
    for (std::size_t index = 1; index < paths.size(); ++index) erase(paths[index]);
    return true;
  });
}

void SecretServiceItems::update(const Data& bytes) {
  if (!replace(bytes)) throw SecretServiceFailure{failures::NotFound};
}

void SecretServiceItems::put(const Data& bytes) {
  if (!replace(bytes)) add(bytes);
}

// Reads the item back: a service may report success and have kept nothing.
void SecretServiceItems::requireKept(const Path& path, const Data& bytes) {
  if (contentOf(path) != bytes) throw SecretServiceFailure{failures::NotKept};
}

// Searches again for the same reason. What others have added meanwhile is not meant.
void SecretServiceItems::requireGone(const std::vector<Path>& paths) {
  const auto left = connection_.search(item_);
  for (const auto& path : paths) {
    const bool isLeft =
        std::ranges::count(left.unlocked, path) + std::ranges::count(left.locked, path) > 0;
    if (isLeft) throw SecretServiceFailure{failures::NotRemoved};
  }
}

void SecretServiceItems::erase(const Path& path) {
  try {
    connection_.deleteItem(path);
  } catch (const SecretServiceFailure& failure) {
    // Somebody else removed it at the same time.
    if (failure.kind != failures::Vanished) throw;
  }
}

void SecretServiceItems::remove() {
  auto paths = find();
  if (paths.empty()) throw SecretServiceFailure{failures::NotFound};
  // The newest last: if the process dies in between, an older one must not become the newest.
  std::ranges::reverse(paths);
  for (const auto& path : paths) erase(path);
  requireGone(paths);
}

}  // namespace orx::platform
