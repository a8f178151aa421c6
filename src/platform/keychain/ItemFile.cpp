// SPDX-License-Identifier: MIT
#include "platform/keychain/ItemFile.h"

#include <stdio.h>

#include <algorithm>
#include <array>
#include <sstream>

#include "platform/base/Checksum.h"
#include "platform/base/Text.h"
#include "platform/base/Wiping.h"
#include "platform/keychain/KeychainItemFormat.h"
#include "platform/storage/StandardPaths.h"

namespace orx::platform {

namespace {

using Missing = StoredDirectory::Missing;

// Which an earlier version holds, exclusively, while it changes any item. Changes of this version
// share it, and so keep out that version's alone.
constexpr const char* sharedLockName = "lock";
// Leaves room in the 255 bytes of a file name.
constexpr std::size_t longestPlainName = 200;

constexpr std::string_view firstLabel = "newest:";
constexpr std::size_t longestLines = 4096;

// FNV-1a of 128 bits, in hexadecimal. It need not withstand an attacker: whoever can place files
// here is the user, and the file names its item in full.
std::string digestOf(std::string_view text) {
  // The keyword keeps -Wpedantic quiet, which a project that builds this one may ask for.
  __extension__ using Wide = unsigned __int128;
  Wide digest = Wide{0x6C62272E07BB0142U} << 64U | 0x62B821756295C58DU;
  for (const char byte : text) {
    digest ^= static_cast<unsigned char>(byte);
    digest *= Wide{0x0000000001000000U} << 64U | 0x000000000000013BU;
  }
  std::string digits;
  for (unsigned shift = 128; shift > 0; shift -= 4) {
    digits += "0123456789abcdef"[static_cast<unsigned>(digest >> (shift - 4)) & 15U];
  }
  return digits;
}

// The two lines of a note that name stores. A format that never changes.
std::string linesOf(const ItemState& state) {
  std::string text = std::string(firstLabel) + " " + state.newest + "\nstale:";
  for (const auto& store : state.stale) text += " " + store;
  return text + "\n";
}

// The lines with a checksum of theirs: a flipped bit in a store's name would name another.
std::string noteOf(const ItemState& state) {
  auto lines = linesOf(state);
  std::array<char, 32> checksum{};
  snprintf(checksum.data(), checksum.size(), "checksum: %08x\n", checksumOf(bytesOf(lines)));
  return lines + checksum.data();
}

// What two such lines at the beginning of the text say, whatever they are worth.
ItemState readLines(std::string_view text) {
  ItemState state;
  if (!text.starts_with(firstLabel)) return state;
  // Not what follows: an item may, with a ticket in it, and a stream is not wiped.
  const auto end = text.find('\n', text.find('\n') + 1);
  std::istringstream words{std::string(text.substr(0, std::min(end, longestLines)))};
  std::string label;
  words >> label >> state.newest >> label;
  std::string line;
  std::getline(words, line);
  std::istringstream stores(line);
  for (std::string store; stores >> store;) state.stale.insert(store);
  return state;
}

}  // namespace

ItemFile::ItemFile(const KeychainItem& item)
    : item_(item), name_(nameOf(item)), stem_(name_.substr(0, name_.rfind('.'))) {}

// The comma stands in no component, so different items never share a name.
std::string ItemFile::nameOf(const KeychainItem& item) {
  auto name = pathComponent(item.service) + "," + pathComponent(item.account);
  if (name.size() > longestPlainName) name = "," + digestOf(name);
  return name + ".item";
}

// Opens the directory anew for each look, since it may have been made or replaced since the last.
Result<void> ItemFile::open(Missing missing) {
  const auto home = dataHome();
  // Without a home, nothing can be in a file: a reader goes on, and asks the other stores.
  if (!home && missing == Missing::DoNotCreate) return {};
  if (!home) return homeNotFound(dataHomeVariable);
  auto opened =
      StoredDirectory::open(*home + "/orxaccount", StoredDirectory::Kind::Private, missing);
  if (!opened) return Failure(opened.error());
  directory_ = *std::move(opened);
  return {};
}

Result<void> ItemFile::look() {
  if (auto opened = open(Missing::DoNotCreate); !opened) return opened;
  return read();
}

Result<void> ItemFile::enter(Missing missing, Deadline deadline) {
  deadline_ = deadline;
  if (auto opened = open(missing); !opened || !directory_) return opened;
  for (const auto& [name, mode] : {std::pair(std::string(sharedLockName), FileLock::Mode::Shared),
                                   std::pair(stem_ + ".lock", FileLock::Mode::Exclusive)}) {
    auto lock = directory_->lock(name, deadline, mode);
    if (!lock) return Failure(lock.error());
    locks_.push_back(*std::move(lock));
  }
  if (auto done = read(); !done) return done;
  if (record_ != Record::Whole) return {};
  // An item file that is damaged says no more than that; only the record goes then.
  return state_.problem ? removeRecord() : write(state_);
}

// Fills state_ and record_ from what is on the disk.
Result<void> ItemFile::read() {
  state_ = {};
  record_ = Record::None;
  if (!directory_) return {};
  // Before the file, which says the same before a record goes: without a record, the file read
  // after it rules.
  const auto record = directory_->read(recordName());
  const auto content = directory_->read(name_);
  if (content && *content) state_ = stateIn(**content);
  if (!content) {
    // A refused file may be somebody's attempt to plant an item; it is neither read nor replaced.
    if (isRefusal(*content.error())) return Failure(content.error());
    state_ = {.newest = ItemState::here, .problem = content.error()};
  }
  return takeRecord(record);
}

// An earlier version kept the note in a file of its own, whose name ends in ".state", and the item
// alone in this one; while there is such a record, it rules. It could name this file as stale, too.
Result<void> ItemFile::takeRecord(const Result<std::optional<Data>>& record) {
  if (!record) return Failure(record.error());
  if (!*record) return {};
  auto noted = readLines((*record)->text());
  record_ = linesOf(noted) == (*record)->text() ? Record::Whole : Record::Damaged;
  if (record_ == Record::Damaged) {
    // It may have named this file or the keyring, which was the other store of that version.
    state_ = damaged(recordName());
    state_.stale = {"secret-service"};
    return {};
  }
  noted.stale.erase(ItemState::here);
  if (noted.newest != ItemState::here) {
    state_ = noted;
    return {};
  }
  // The earlier version removed the item first and its record afterwards.
  if (state_.newest != ItemState::here) state_.newest = ItemState::nowhere;
  state_.stale = noted.stale;
  return {};
}

// The record rules as long as it is there. A whole one is taken over first: this file says the
// same, then the record goes, and only from there on may this file say something else. A damaged
// one goes with the first change that was stored: if it went earlier, an item that lies in a store
// that is out of reach at the moment would count as removed.
Result<void> ItemFile::removeRecord() {
  if (auto removed = directory_->remove(recordName()); !removed) return removed;
  record_ = Record::None;
  return {};
}

// A note, unless it says no more than that the item is here; then the item, if it is.
ItemState ItemFile::stateIn(const Data& content) const {
  auto text = content.text();
  ItemState state{.newest = ItemState::here};
  if (const auto noted = readLines(text); text.starts_with(noteOf(noted))) {
    text.remove_prefix(noteOf(noted).size());
    state = noted;
  }
  if (state.newest == ItemState::here) state.bytes = decodedItem(item_, Data(text));
  const bool whole = state.newest == ItemState::here ? state.bytes.has_value() : text.empty();
  return whole ? state : damaged(name_);
}

// The reverse of stateIn().
Data ItemFile::contentOf(const ItemState& state) const {
  GrowingSecretText content;
  if (state.newest != ItemState::here || !state.stale.empty()) content = noteOf(state);
  if (state.bytes) content += encodedItem(item_, *state.bytes).text();
  return Data(content);
}

// The newest version counts as being here, so that no older one in another store is read instead.
ItemState ItemFile::damaged(const std::string& name) const {
  const auto path = directory_->pathOf(name);
  const auto failure =
      keychainFailure(errSecDecode, path + " is damaged.", path,
                      "The next sign-in sets it aside; nothing needs to be removed.");
  return {.newest = ItemState::here, .problem = failure.value()};
}

Result<void> ItemFile::write(const ItemState& next) {
  const bool saysNothing = !next.exists() && next.stale.empty();
  if (!directory_) {
    if (saysNothing) return {};
    if (auto entered = enter(Missing::Create, deadline_); !entered) return entered;
    // Somebody else has stored the item between the two openings; theirs stays.
    if (!state_.newest.empty()) return {};
  }
  // What is damaged may be all that is left of the item, and somebody may still make sense of it. A
  // removal wants no trace of it.
  const bool isKept = state_.problem && next.exists();
  const auto previous =
      isKept ? StoredDirectory::Previous::Quarantine : StoredDirectory::Previous::Discard;
  auto done = saysNothing ? directory_->remove(name_)
                          : directory_->replace(name_, contentOf(next), previous);
  if (!done) return done;
  state_ = next;
  return record_ == Record::None ? done : removeRecord();
}

Result<void> ItemFile::removeTraces() const {
  if (!directory_) return {};
  // Both, whatever the first one comes to: each may hold bytes of the item.
  auto swept = directory_->sweepTemporaryFiles(name_);
  auto removed = directory_->removeQuarantined(name_);
  return swept ? removed : swept;
}

}  // namespace orx::platform
