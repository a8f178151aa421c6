// SPDX-License-Identifier: MIT
#include "FuzzTarget.h"
#include "ScratchFolder.h"
#include "platform/keychain/ItemFile.h"
#include "platform/keychain/KeychainItemFormat.h"

namespace {

using namespace orx::platform;

const KeychainItem kItem{.service = "s", .account = "a"};

const ScratchFolder& home() {
  static const ScratchFolder folder;
  static const bool isSet = setenv("XDG_DATA_HOME", folder.path().c_str(), 1) == 0;
  ORX_FUZZ_CHECK(isSet);
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
  home().clear();
  const auto folder = home().path() / "orxaccount";
  std::filesystem::create_directory(folder);
  std::filesystem::permissions(folder, std::filesystem::perms(0700));
  const std::string name = ItemFile::nameOf(kItem);
  if (!content.empty()) ScratchFolder::write(folder / name, content);
  const auto record = folder / (name.substr(0, name.rfind('.')) + ".state");
  if (!input.empty()) ScratchFolder::write(record, input.rest());

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
