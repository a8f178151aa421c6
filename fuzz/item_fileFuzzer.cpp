// SPDX-License-Identifier: MIT
#include <sys/stat.h>

#include "FuzzTarget.h"
#include "platform/keychain/ItemFile.h"
#include "platform/keychain/KeychainItemFormat.h"
#include "support/StorageHome.h"

namespace {

using namespace orx::platform;

const KeychainItem kItem{.service = "s", .account = "a"};

// Without an item, and for its owner alone, as the library wants it. What is locked stays, since no
// input says anything of it.
std::filesystem::path emptyFolder() {
  static const orx::testing::StorageHome home;
  static const auto folder = [] {
    umask(077);
    std::filesystem::create_directories(home.keychainDirectory());
    return home.keychainDirectory();
  }();
  for (const auto& entry : std::filesystem::directory_iterator(folder)) {
    if (!entry.path().native().ends_with("lock")) remove(entry.path());
  }
  return folder;
}

ItemState looked() {
  ItemFile file(kItem);
  ORX_FUZZ_CHECK(file.look());
  return file.state();
}

// What is read as an item's data is the only data that gives these bytes.
void decode(std::string_view content) {
  const auto data = decodedItem(kItem, orx::Data(content));
  ORX_FUZZ_CHECK(!data || encodedItem(kItem, *data).text() == content);
  const orx::Data whole = encodedItem(kItem, orx::Data(content));
  ORX_FUZZ_CHECK(decodedItem(kItem, whole) == orx::Data(content));
}

}  // namespace

// The item's file and, behind a mark, the record that an earlier version kept beside it.
ORX_FUZZ_TARGET(text) {
  FuzzInput input(text);
  const bool isWritten = input.number(2) == 1;
  const auto content = input.upTo("\n====\n");
  decode(content);
  const auto folder = emptyFolder();
  const std::string name = ItemFile::nameOf(kItem);
  if (!content.empty()) orx::testing::writeContent(folder / name, content);
  const auto record = folder / (name.substr(0, name.rfind('.')) + ".state");
  if (!input.empty()) orx::testing::writeContent(record, input.rest());

  const ItemState before = looked();
  ORX_FUZZ_CHECK(!before.problem || before.newest == ItemState::here);
  if (!isWritten) return;
  // Taking over the record changes nothing of what is known, and what is written then is read.
  ItemFile file(kItem);
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
  ORX_FUZZ_CHECK(file.enter(StoredDirectory::Missing::Create, deadline));
  ORX_FUZZ_CHECK(looked() == before || before.problem);
  ItemState after{.newest = ItemState::here, .stale = before.stale, .bytes = orx::Data(content)};
  ORX_FUZZ_CHECK(file.write(after));
  ORX_FUZZ_CHECK(looked() == after);
}
